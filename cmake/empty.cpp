// Keeps a section library valid while it has no sources of its own yet.
