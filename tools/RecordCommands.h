#pragma once
// lskx2 record, replay and frames: a capture with the recording device library in place,
// the same capture answered from a recording, and the recorded frames as PNG files.

// Whether argv[1] names one of these commands.
bool IsRecordingCommand(const char* szWord);

// Runs it; returns the program's exit status.
int RunRecordingCommand(int argc, char** argv);
