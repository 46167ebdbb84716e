#!/usr/bin/env python3
"""Sampled mutation run: how many small faults in the library do its tests catch?

Each mutant is one small change to one .cpp file of a library folder: a flipped
comparison, an off-by-one (a comparison's boundary or an integer constant), a dropped
statement or a swapped operand. A seeded sampler draws them from the code (comments,
string literals, preprocessor lines and logging calls are never touched), weighted by
each folder's size. Each mutant is built in its own build folder and judged by the tests
of its folder only: killed when a test fails or runs past its time limit, survived when
they all pass, invalid when it does not build. Run it through scripts/mutation-run.sh,
which restores the source even if this process is killed.
"""
import argparse
import json
import os
import random
import re
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent

# Folder (or sub-folder) -> the test executables that judge it, with the build folder
# they run in. The longest matching prefix wins. Files outside every entry (developer
# picture tools without tests) are not sampled.
SUITES = {
    # The device tests reach the debug output's text conversion.
    "base": ["sdk_tests", "sdk_handle_tests", "sdk_library_tests", "device_tests"],
    "model": ["imaging_model_tests", "ProcessorTests"],
    "parameters": ["ParameterTests"],
    "imaging": ["ProcessorTests", "imaging_model_tests"],
    "imaging/filters": ["filter_tests"],
    "imaging/geometry": ["geometry_tests"],
    "imaging/histogram": ["histogram_tests"],
    "imaging/operators": ["operator_tests"],
    "imaging/regions": ["regions_tests"],
    "masks": ["mask_tests"],
    "roll": ["roll_tests", "roll_allocation_tests", "roll_concurrency_tests"],
    "device": ["device_tests"],
    "capture": ["capture_triplebuffer_tests", "capture_engine_tests", "capture_allocation_tests"],
    "sdk": ["sdk_tests", "sdk_handle_tests", "sdk_kx2handle_tests", "sdk_scanner_tests",
            "sdk_library_tests"],
    "simulator": ["sim_render_tests", "sim_library_tests"],
    "recorder": ["recorder_file_tests", "recorder_replay_tests"],
    "tools": ["lskx2_cli_tests"],
}
# The program's own sources are judged by the tests that run the program.
for name in ("lskx2", "Commands", "ScannerSession", "RecordCommands", "RollLoop"):
    SUITES[f"tools/{name}.cpp"] = ["lskx2_program_tests"]
for name in ("ViewCommand", "ViewControl", "ViewFeed", "ViewHttpSession", "ViewServer", "ViewSite",
             "ViewSocket"):
    SUITES[f"tools/{name}.cpp"] = ["lskx2_view_tests"]
# Sources that no test executable is built from.
SKIP_FILES = {"tools/kxsimdump.cpp", "tools/mask_pictures.cpp", "tools/roll_pictures.cpp",
              "tools/roll_quality.cpp"}
KINDS = ("flip", "off-by-one", "drop", "swap")

LOG_LINE = re.compile(r"\b(RDLog|Log\w*|LOG\w*|Logger)\s*\(|\bm_pLog\b|ProcessorLog|static_assert|assert\s*\(")
OPERAND = r"(?:[A-Za-z_]\w*(?:(?:\.|->|::)[A-Za-z_]\w*)*(?:\(\))?|\d+)"
CMP = re.compile(r"(?<=\s)(<=|>=|==|!=|<|>)(?=\s)")
INT_LIT = re.compile(r"(?<![\w.'])(\d+)([uUlL]*)(?![\w.'])")
BINARY = re.compile(r"(?<![\w.)\]>])(" + OPERAND + r") ([-/%]) (" + OPERAND + r")(?![\w.(\[<])")
CALL2 = re.compile(r"\b([A-Za-z_]\w*)\((" + OPERAND + r"), (" + OPERAND + r")\)")
ASSIGN = re.compile(r"^\*?[\w.\->:]+(\[[^\]]*\])*\s*([-+*/|&^%]|<<|>>)?=\s")
CALL_STMT = re.compile(r"^[\w.\->:]+(<[\w:, ]*>)?\s*\(")
INCR = re.compile(r"^(\+\+|--)[\w.\->\[\]]+;$|^[\w.\->\[\]]+(\+\+|--);$")
KEYWORDS = {"if", "for", "while", "switch", "return", "throw", "case", "default", "delete",
            "break", "continue", "goto", "do", "else", "sizeof", "new", "using", "typedef"}
SYMMETRIC_CALLS = {"min", "max", "swap", "hypot", "equal", "gcd", "lcm", "Swap"}
FLIP = {"<": ">=", ">": "<=", "<=": ">", ">=": "<", "==": "!=", "!=": "=="}
BOUNDARY = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}


def mask_source(text):
    """The text with comments, string and character literals and preprocessor lines blanked,
    same length and line breaks, so that offsets match the original."""
    out = list(text)
    i, n = 0, len(text)

    def blank(a, b):
        for k in range(a, b):
            if out[k] != "\n":
                out[k] = " "

    at_line_start = True
    while i < n:
        c = text[i]
        if at_line_start and c == "#":
            j = i
            while j < n:  # a directive runs on over escaped line ends
                e = text.find("\n", j)
                e = n if e < 0 else e
                if e > 0 and text[e - 1] == "\\":
                    j = e + 1
                    continue
                break
            blank(i, e)
            i = e
            continue
        if c == "\n":
            at_line_start = True
            i += 1
            continue
        if not c.isspace():
            at_line_start = False
        if text.startswith("//", i):
            e = text.find("\n", i)
            e = n if e < 0 else e
            blank(i, e)
            i = e
        elif text.startswith("/*", i):
            e = text.find("*/", i + 2)
            e = n if e < 0 else e + 2
            blank(i, e)
            i = e
        elif c == "R" and text.startswith('R"', i) and (i == 0 or not (text[i - 1].isalnum() or text[i - 1] == "_")):
            p = text.find("(", i)
            delim = text[i + 2:p]
            e = text.find(")" + delim + '"', p)
            e = n if e < 0 else e + len(delim) + 2
            blank(i, e)
            i = e
        elif c in "\"'":
            if c == "'" and i > 0 and text[i - 1].isalnum() and i + 1 < n and text[i + 1].isalnum():
                i += 1  # digit separator
                continue
            j = i + 1
            while j < n and text[j] != c and text[j] != "\n":
                j += 2 if text[j] == "\\" else 1
            blank(i, j + 1)
            i = j + 1
        else:
            i += 1
    return "".join(out)


def type_hint(operand):
    """The type prefix of a name (nWidth -> n, m_dScale -> d, x -> x), so that arguments are
    swapped only between names of one type and the mutant builds."""
    if operand[0].isdigit():
        return "#"
    last = re.split(r"\.|->|::", operand.replace("()", ""))[-1]
    last = last[2:] if last.startswith("m_") else last
    return re.match(r"[a-z]*", last).group(0) or last


def boundary_ok(line, start, end):
    """A swap of the operands around start..end stays inside one sub-expression."""
    before = line[:start].rstrip()
    after = line[end:].lstrip()
    ok_before = (not before) or before[-1] in "(,=[{;?:&|<>!" or before.endswith("return")
    ok_after = (not after) or after[0] in "),;]}?:&|<>=!"
    return ok_before and ok_after


def find_sites(rel, text):
    """Every mutation site of one file: (kind, line number, start offset, end offset, replacement)."""
    masked = mask_source(text)
    lines = masked.split("\n")
    orig_lines = text.split("\n")
    sites = []
    offset = 0
    prev_end = ";"
    for no, (line, orig) in enumerate(zip(lines, orig_lines), start=1):
        base = offset
        offset += len(line) + 1
        stripped = line.strip()
        if not stripped:
            continue
        last = prev_end
        prev_end = stripped[-1]
        if LOG_LINE.search(orig):
            continue
        for m in CMP.finditer(line):
            op = m.group(1)
            s, e = base + m.start(), base + m.end()
            sites.append(("flip", no, s, e, FLIP[op]))
            if op in BOUNDARY:
                sites.append(("off-by-one", no, s, e, BOUNDARY[op]))
        if not stripped.startswith(("case ", "enum", "template")) and "[" not in stripped.split("=")[0]:
            for m in INT_LIT.finditer(line):
                value = int(m.group(1))
                s, e = base + m.start(1), base + m.end(1)
                sites.append(("off-by-one", no, s, e, str(value + 1)))
                if value > 0:
                    sites.append(("off-by-one", no, s, e, str(value - 1)))
        for m in BINARY.finditer(line):
            if m.group(1) == m.group(3) or not boundary_ok(line, m.start(), m.end()):
                continue
            s, e = base + m.start(), base + m.end()
            sites.append(("swap", no, s, e, f"{m.group(3)} {m.group(2)} {m.group(1)}"))
        for m in CALL2.finditer(line):
            name = m.group(1)
            if (name in KEYWORDS or name in SYMMETRIC_CALLS or m.group(2) == m.group(3)
                    or type_hint(m.group(2)) != type_hint(m.group(3))):
                continue
            s, e = base + m.start(2), base + m.end(3)
            sites.append(("swap", no, s, e, f"{m.group(3)}, {m.group(2)}"))
        # A whole statement on its own line, started after the previous one ended.
        first = re.match(r"[A-Za-z_]\w*", stripped.lstrip("*+-"))
        if (stripped.endswith(";") and last in ";{}:)" and stripped.count("(") == stripped.count(")")
                and stripped.count("{") == stripped.count("}") and '"' not in orig
                and not (first and first.group(0) in KEYWORDS)
                and (ASSIGN.match(stripped) or CALL_STMT.match(stripped) or INCR.match(stripped))):
            s = base + line.index(stripped)
            sites.append(("drop", no, s, s + len(stripped), ";"))
    return sites


def folder_of(rel):
    best = None
    for key in SUITES:
        if rel == key or rel.startswith(key + "/"):
            if best is None or len(key) > len(best):
                best = key
    return best


def collect(folders):
    per_folder = {}
    lines = {}
    for top in folders:
        # Headers count towards the folder's weight; mutants go into .cpp files only, so
        # that one rebuilds a few objects rather than every includer.
        for path in sorted((ROOT / top).rglob("*.[ch]*")):
            rel = path.relative_to(ROOT).as_posix()
            if rel in SKIP_FILES or folder_of(rel) is None or path.suffix not in (".cpp", ".h"):
                continue
            text = path.read_text()
            lines[top] = lines.get(top, 0) + sum(1 for l in text.splitlines() if l.strip())
            if path.suffix != ".cpp":
                continue
            for site in find_sites(rel, text):
                per_folder.setdefault(top, []).append((rel,) + site)
    return per_folder, lines


def plan(per_folder, rng):
    """Per folder, the sites in the order they are tried: a kind drawn at random among the
    kinds the folder offers, then a site of that kind, without repetition."""
    order = {}
    for top, sites in sorted(per_folder.items()):
        by_kind = {k: [s for s in sites if s[1] == k] for k in KINDS}
        for k in KINDS:
            rng.shuffle(by_kind[k])
        seq = []
        while any(by_kind.values()):
            kind = rng.choice([k for k in KINDS if by_kind[k]])
            seq.append(by_kind[kind].pop())
        order[top] = seq
    return order


class Runner:
    def __init__(self, args):
        self.args = args
        self.build = Path(args.build).resolve()
        self.state = Path(args.state).resolve()
        self.lock_dir = tempfile.mkdtemp(prefix="lskx2-mut-lock-")
        self.env = dict(os.environ, LSKX2_BIN_DIR=str(self.build / "bin"),
                        VELTRANO_SDK_LOCK_DIR=self.lock_dir)

    def build_targets(self, targets, log):
        cmd = ["cmake", "--build", str(self.build), "-j", str(self.args.jobs), "--target"] + targets
        with open(log, "w") as f:
            return subprocess.run(cmd, stdout=f, stderr=subprocess.STDOUT).returncode == 0

    def run_tests(self, binaries, limit):
        """True when every executable passes within the limit (seconds, for all together)."""
        deadline = time.monotonic() + limit
        for b in binaries:
            left = deadline - time.monotonic()
            if left <= 0:
                return False, "timeout"
            proc = subprocess.Popen([str(self.build / "bin" / b), "--gtest_brief=1", "--gtest_fail_fast"],
                                    cwd=str(self.build), env=self.env, stdout=subprocess.DEVNULL,
                                    stderr=subprocess.DEVNULL, start_new_session=True)
            try:
                rc = proc.wait(timeout=left)
            except subprocess.TimeoutExpired:
                os.killpg(proc.pid, signal.SIGKILL)
                proc.wait()
                return False, "timeout"
            if rc != 0:
                return False, f"{b} failed"
        return True, ""


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--seed", type=int, default=25)
    ap.add_argument("--mutants", type=int, default=160, help="valid mutants to reach")
    ap.add_argument("--folders", default="base,model,parameters,imaging,masks,roll,device,capture,sdk,simulator,recorder,tools")
    ap.add_argument("--build", default=str(ROOT / "build-mut"))
    ap.add_argument("--state", required=True, help="where the pending restore is written")
    ap.add_argument("--out", required=True)
    ap.add_argument("--jobs", type=int, default=2)
    ap.add_argument("--factor", type=float, default=3.0, help="time limit as a multiple of the normal test time")
    ap.add_argument("--until", type=float, default=0, help="stop starting mutants after this many minutes")
    ap.add_argument("--list", action="store_true", help="print the planned mutants and stop")
    args = ap.parse_args()

    folders = [f for f in args.folders.split(",") if f]
    per_folder, lines = collect(folders)
    rng = random.Random(args.seed)
    order = plan(per_folder, rng)
    total_lines = sum(lines.values())
    quota = {t: max(3, round(args.mutants * lines[t] / total_lines)) for t in order}
    if args.list:
        for t in order:
            kinds = {k: sum(1 for s in per_folder[t] if s[1] == k) for k in KINDS}
            print(f"{t}: {lines[t]} lines, quota {quota[t]}, sites {kinds}")
            for rel, kind, no, s, e, repl in order[t][:quota[t]]:
                text = (ROOT / rel).read_text()
                print(f"    {rel}:{no} {kind}: {text[s:e]!r} -> {repl!r}")
        return 0

    runner = Runner(args)
    logdir = Path(args.out).resolve().parent / "mutation-logs"
    logdir.mkdir(parents=True, exist_ok=True)
    progress = open(Path(args.out).with_suffix(".jsonl"), "w")
    started = time.time()

    def suites_of(rel):
        return SUITES[folder_of(rel)]

    # The normal test time of every suite, on the unchanged tree.
    all_bins = sorted({b for t in order for s in order[t] for b in suites_of(s[0])})
    if not runner.build_targets(all_bins, logdir / "baseline-build.log"):
        print("the unchanged tree does not build", file=sys.stderr)
        return 2
    normal = {}
    for b in all_bins:
        t0 = time.monotonic()
        ok, why = runner.run_tests([b], 1800)
        normal[b] = time.monotonic() - t0
        print(f"baseline {b}: {normal[b]:.1f}s {'ok' if ok else why}", flush=True)
        if not ok:
            print(f"{b} fails on the unchanged tree", file=sys.stderr)
            return 2

    results = {t: [] for t in order}
    valid = {t: 0 for t in order}
    cursor = {t: 0 for t in order}
    stop = {"now": False}

    def on_signal(signum, frame):
        raise KeyboardInterrupt

    signal.signal(signal.SIGTERM, on_signal)
    signal.signal(signal.SIGHUP, on_signal)
    try:
        while True:
            if args.until and time.time() - started > args.until * 60:
                print("time is up: no new mutants", flush=True)
                break
            open_folders = [t for t in order if valid[t] < quota[t] and cursor[t] < len(order[t])]
            if not open_folders:
                break
            top = min(open_folders, key=lambda t: (valid[t] / quota[t], t))
            rel, kind, no, s, e, repl = order[top][cursor[top]]
            cursor[top] += 1
            path = ROOT / rel
            original = path.read_text()
            mutated = original[:s] + repl + original[e:]
            bins = suites_of(rel)
            # The shell wrapper restores from this copy if this process dies mid-mutant.
            runner.state.write_text(json.dumps({"path": str(path), "original": original}))
            t0 = time.monotonic()
            try:
                path.write_text(mutated)
                if not runner.build_targets(bins, logdir / "mutant-build.log"):
                    verdict, why = "invalid", "does not build"
                else:
                    limit = max(args.factor * sum(normal[b] for b in bins), 20.0)
                    ok, why = runner.run_tests(bins, limit)
                    verdict = "survived" if ok else "killed"
            finally:
                path.write_text(original)
                os.utime(path)
                runner.state.unlink()
            if verdict != "invalid":
                valid[top] += 1
            col = s - original.rfind("\n", 0, s)
            entry = {"folder": top, "file": rel, "line": no, "col": col, "kind": kind,
                     "from": original[s:e], "to": repl, "verdict": verdict, "why": why,
                     "seconds": round(time.monotonic() - t0, 1)}
            results[top].append(entry)
            progress.write(json.dumps(entry) + "\n")
            progress.flush()
            done = sum(valid.values())
            print(f"[{done}/{sum(quota.values())}] {verdict:8} {rel}:{no}:{col} {kind}: "
                  f"{original[s:e]!r} -> {repl!r} ({entry['seconds']}s)", flush=True)
    except KeyboardInterrupt:
        print("interrupted: writing what was judged", flush=True)
    write_report(args, results, time.time() - started, normal)
    return 0


def write_report(args, results, seconds, normal):
    rows = []
    tot = {"n": 0, "k": 0, "s": 0, "i": 0}
    for top, entries in results.items():
        k = sum(1 for x in entries if x["verdict"] == "killed")
        s = sum(1 for x in entries if x["verdict"] == "survived")
        i = sum(1 for x in entries if x["verdict"] == "invalid")
        rows.append((top, k + s, k, s, i))
        for key, v in zip("nksi", (k + s, k, s, i)):
            tot[key] += v
    out = [f"# Mutation run, seed {args.seed}", "",
           f"Run time {seconds / 60:.1f} min; time limit {args.factor:g}x each folder's normal test time.",
           "Mutants counts the valid ones; invalid ones did not build.", "",
           "| folder | mutants | killed | survived | invalid | kill rate |",
           "| --- | ---: | ---: | ---: | ---: | ---: |"]
    for top, n, k, s, i in rows:
        rate = f"{100 * k / n:.0f} %" if n else "-"
        out.append(f"| {top} | {n} | {k} | {s} | {i} | {rate} |")
    rate = f"{100 * tot['k'] / tot['n']:.1f} %" if tot["n"] else "-"
    out.append(f"| all | {tot['n']} | {tot['k']} | {tot['s']} | {tot['i']} | {rate} |")
    kinds = {}
    for entries in results.values():
        for x in entries:
            if x["verdict"] != "invalid":
                d = kinds.setdefault(x["kind"], [0, 0])
                d[0] += 1
                d[1] += x["verdict"] == "killed"
    out += ["", "By kind: " + ", ".join(f"{k} {v[1]}/{v[0]}" for k, v in sorted(kinds.items())), "",
            "## Survivors", ""]
    for entries in results.values():
        for x in entries:
            if x["verdict"] == "survived":
                out.append(f"- {x['file']}:{x['line']}:{x.get('col', 0)} {x['kind']}: "
                           f"`{x['from']}` -> `{x['to']}`")
    out += ["", "## Normal test times (s)", ""]
    out += [f"- {b}: {t:.1f}" for b, t in sorted(normal.items())]
    Path(args.out).write_text("\n".join(out) + "\n")
    print("\n".join(out[:len(rows) + 8]))


if __name__ == "__main__":
    sys.exit(main())
