#!/usr/bin/env python3
"""Measures how many small faults the tests catch (mutation testing).

Each group of product code (a subsystem folder, the host platform, dmctl)
gets a fixed-seed sample of mutants of its .cpp files, of four kinds:
  compare  a comparison flipped (== and !=, < and >=, > and <=)
  const    an integer constant changed by one
  negate   the condition of an if or while negated
  drop     a call statement removed
A mutant that does not compile is replaced by the next one of the sample.
Each mutant is built in a private copy of the tree (only what changed is
rebuilt) and the group's tests run against it: killed (a test failed),
survived, or timed out (three times the unmutated run plus 20 s).

Usage: scripts/mutants.sh [--jobs N] [--per-group N] [--seed N] [--elsewhere] [group...]
With --elsewhere, each survivor also meets every other suite (slower): the
report says which test of the project catches it, if any.
Groups: alerts ems events auth peripherals security state platform tools.
The report goes to stdout and build/mutants/report.txt.
"""
import argparse
import os
import queue
import random
import re
import shutil
import signal
import subprocess
import sys
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
WORK = os.path.join(ROOT, "build", "mutants")

# Group -> (source folder, test label, extra targets the tests run). The
# sign-in events have a folder of their own inside events/.
GROUPS = {
    "alerts": ("alerts", "alerts_tests", []),
    "ems": ("ems", "ems_tests", []),
    "events": ("events", "events_tests", []),
    "auth": ("events/auth", "events_tests", []),
    "peripherals": ("peripherals", "peripherals_tests", []),
    "security": ("security", "security_tests", []),
    "state": ("state", "state_tests", []),
    "platform": ("platform", "platform_tests", []),
    "tools": ("tools", "tools_tests", ["dmctl"]),
}

# Suites that belong to no group but may still catch a group's mutant.
OTHER_SUITES = ["abi_tests", "capi_tests", "soak_tests"]

COMPARE = {"==": "!=", "!=": "==", "<": ">=", ">=": "<", ">": "<=", "<=": ">"}
# Binary comparisons as the formatter writes them: spaced on both sides.
COMPARE_RE = re.compile(r"(?<=\s)(==|!=|<=|>=|<|>)(?=\s)")
CONST_RE = re.compile(r"(?<![\w.'\"])(\d+)(?![\w.'\"])")
COND_RE = re.compile(r"\b(if|while)\s*\(")
CALL_RE = re.compile(r"^(\s*)(?!return\b|delete\b|throw\b|case\b|else\b)[A-Za-z_][\w:]*(?:(?:\.|->)[A-Za-z_]\w*)*\(.*\);\s*$")


def code_part(line):
    """The line with string and char literals blanked and any // comment cut,
    so that mutations never touch text."""
    out, i, quote = [], 0, None
    while i < len(line):
        c = line[i]
        if quote:
            if c == "\\":
                out.append("  ")
                i += 2
                continue
            out.append(" " if c != quote else c)
            if c == quote:
                quote = None
        elif c in "\"'":
            quote = c
            out.append(c)
        elif line.startswith("//", i):
            break
        else:
            out.append(c)
        i += 1
    return "".join(out)


def matching_paren(text, start):
    depth = 0
    for i in range(start, len(text)):
        if text[i] == "(":
            depth += 1
        elif text[i] == ")":
            depth -= 1
            if depth == 0:
                return i
    return -1


def candidates(path, rel):
    """Every mutant of one file: (rel, line number, kind, new line)."""
    found = []
    in_block_comment = False
    with open(path, encoding="utf-8", errors="replace") as handle:
        lines = handle.read().split("\n")
    for number, line in enumerate(lines, 1):
        stripped = line.strip()
        if in_block_comment:
            in_block_comment = "*/" not in stripped
            continue
        if stripped.startswith("/*"):
            in_block_comment = "*/" not in stripped
            continue
        if not stripped or stripped.startswith(("#", "//", "static_assert")):
            continue
        code = code_part(line)
        if "template" in code or "operator" in code:
            continue
        for m in COMPARE_RE.finditer(code):
            new = line[: m.start()] + COMPARE[m.group(1)] + line[m.end():]
            found.append((rel, number, "compare", new))
        for m in CONST_RE.finditer(code):
            # Array sizes and bit widths are left alone: they change layout, not behaviour.
            if code[max(0, m.start() - 1)] == "[" or code[m.end():m.end() + 1] == "]":
                continue
            value = int(m.group(1), 10) if not m.group(1).startswith("0") or m.group(1) == "0" else None
            if value is None:
                continue
            new_value = value + 1 if value == 0 or (number + m.start()) % 2 == 0 else value - 1
            found.append((rel, number, "const", line[: m.start()] + str(new_value) + line[m.end():]))
        for m in COND_RE.finditer(code):
            open_at = code.index("(", m.start())
            close_at = matching_paren(code, open_at)
            if close_at < 0:
                continue
            new = line[: open_at + 1] + "!(" + line[open_at + 1: close_at] + ")" + line[close_at:]
            found.append((rel, number, "negate", new))
        call = CALL_RE.match(code)
        if call and "=" not in code.split("(")[0] and not stripped.startswith(("}", "{")):
            found.append((rel, number, "drop", call.group(1) + ";"))
    return found


def group_mutants(group, seed):
    folder = GROUPS[group][0]
    files = subprocess.run(["git", "ls-files", "--", folder], cwd=ROOT, capture_output=True, text=True,
                           check=True).stdout.split()
    pool = []
    nested = [GROUPS[g][0] + "/" for g in GROUPS if GROUPS[g][0].startswith(folder + "/")]
    for rel in sorted(f for f in files if f.endswith(".cpp") and not f.startswith(tuple(nested))):
        pool.extend(candidates(os.path.join(ROOT, rel), rel))
    rng = random.Random(f"{seed}:{group}")
    rng.shuffle(pool)
    return pool


def run(command, cwd, timeout=None, env=None):
    """Exit status and output; status None when the time ran out (the whole
    process group is killed, so no hung test lingers)."""
    process = subprocess.Popen(command, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                               encoding="utf-8", errors="replace", env=env, start_new_session=True)
    try:
        out, _ = process.communicate(timeout=timeout)
        return process.returncode, out
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        process.communicate()
        return None, ""


def isolation():
    """A private IPC namespace per test run when the system allows one: the
    queues of a test that a timeout killed die with it instead of filling
    the user's queue quota for every later run."""
    for command in (["unshare", "--ipc"], ["unshare", "--ipc", "--map-root-user"]):
        if shutil.which("unshare") and run(command + ["true"], ROOT)[0] == 0:
            return command
    print("warning: no private IPC namespace; a killed test may leave queues behind", file=sys.stderr)
    return []


ISOLATE = []


class Worker:
    """A private copy of the tree with its own build."""

    def __init__(self, index):
        self.src = os.path.join(WORK, f"tree{index}")
        self.build = os.path.join(self.src, "build", "m")
        self.env = dict(os.environ)
        if shutil.which("ccache"):
            self.env.update(CCACHE_BASEDIR=self.src, CCACHE_NOHASHDIR="1",
                            CMAKE_CXX_COMPILER_LAUNCHER="ccache", CMAKE_C_COMPILER_LAUNCHER="ccache")

    def prepare(self):
        if os.path.isdir(self.src):
            shutil.rmtree(self.src)
        os.makedirs(self.src)
        listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=ROOT,
                                capture_output=True, check=True).stdout
        pack = subprocess.Popen(["tar", "--null", "-T", "-", "-cf", "-"], cwd=ROOT, stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE)
        unpack = subprocess.Popen(["tar", "-xf", "-", "-C", self.src], stdin=pack.stdout)
        pack.stdout.close()
        pack.stdin.write(listed)
        pack.stdin.close()
        if pack.wait() != 0 or unpack.wait() != 0:
            sys.exit("cannot copy the tree")
        # Unoptimised, no debug info, and test programs not relinked when a
        # library changes: a mutant costs one compile and one link.
        rc, out = run(["cmake", "-S", self.src, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                       "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -g0", "-DCMAKE_C_FLAGS_DEBUG=-O0 -g0",
                       "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON"], self.src, env=self.env)
        if rc != 0:
            sys.exit("configure failed:\n" + out[-3000:])

    def targets(self, group):
        return [GROUPS[group][1]] + GROUPS[group][2]

    def build_targets(self, group, jobs=1):
        return run(["cmake", "--build", self.build, f"-j{jobs}", "--target"] + self.targets(group), self.src,
                   env=self.env)

    def test_elsewhere(self, group):
        """The first test of another suite that fails, or None when all pass."""
        rc, _ = run(["cmake", "--build", self.build, "-j1"], self.src, env=self.env)
        if rc != 0:
            return None
        others = sorted({label for _, label, _ in GROUPS.values()} | set(OTHER_SUITES))
        others.remove(GROUPS[group][1])
        rc, out = run(ISOLATE + ["ctest", "--test-dir", self.build, "-L", "^(" + "|".join(others) + ")$", "-j1",
                                 "--stop-on-failure", "--timeout", "120"], self.src, timeout=900, env=self.env)
        if rc == 0:
            return None
        if rc is None:
            return "a test of another suite (timed out)"
        failed = re.search(r"^\s*\d+ - (\S+) \(", out, re.M) or re.search(r"#\d+: (\S+) \.*\s*\*\*\*", out)
        return failed.group(1) if failed else "a test of another suite"

    def test(self, group, timeout):
        limit = ["--timeout", str(int(timeout))] if timeout else []
        return run(ISOLATE + ["ctest", "--test-dir", self.build, "-L", "^" + GROUPS[group][1] + "$", "-j1",
                    "--stop-on-failure", "--no-tests=error", "--output-on-failure"] + limit, self.src,
                   timeout=timeout + 30 if timeout else None, env=self.env)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--per-group", type=int, default=40)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--elsewhere", action="store_true",
                        help="run every other suite against each survivor and say which test catches it")
    parser.add_argument("groups", nargs="*", default=list(GROUPS))
    args = parser.parse_args()
    for group in args.groups:
        if group not in GROUPS:
            sys.exit(f"unknown group {group}; groups: {' '.join(GROUPS)}")
    os.makedirs(WORK, exist_ok=True)
    started = time.time()
    ISOLATE.extend(isolation())

    workers = [Worker(i) for i in range(args.jobs)]
    for worker in workers:
        worker.prepare()
    # Build everything once; later builds are incremental.
    baseline = {}
    for group in args.groups:
        for worker in workers:
            rc, out = worker.build_targets(group, args.jobs)
            if rc != 0:
                sys.exit(f"{group}: the unmutated tree does not build:\n{out[-3000:]}")
        t0 = time.time()
        rc, out = workers[0].test(group, None)
        if rc != 0:
            sys.exit(f"{group}: the unmutated tests fail:\n{out[-3000:]}")
        baseline[group] = time.time() - t0
        print(f"{group}: baseline tests {baseline[group]:.1f} s", flush=True)

    pools = {group: group_mutants(group, args.seed) for group in args.groups}
    lock = threading.Lock()
    state = {group: {"next": 0, "taken": 0} for group in args.groups}
    results = {group: [] for group in args.groups}

    def next_mutant():
        with lock:
            for group in args.groups:
                s = state[group]
                if s["taken"] < args.per_group and s["next"] < len(pools[group]):
                    mutant = pools[group][s["next"]]
                    s["next"] += 1
                    s["taken"] += 1
                    return group, mutant
        return None

    def work(worker):
        while True:
            job = next_mutant()
            if job is None:
                return
            group, (rel, number, kind, new) = job
            path = os.path.join(worker.src, rel)
            with open(path, encoding="utf-8", errors="surrogateescape") as handle:
                original = handle.read()
            lines = original.split("\n")
            old = lines[number - 1]
            lines[number - 1] = new
            with open(path, "w", encoding="utf-8", errors="surrogateescape") as handle:
                handle.write("\n".join(lines))
            rc, _ = worker.build_targets(group)
            if rc != 0:
                verdict = "stillborn"
            else:
                rc, _ = worker.test(group, 3 * baseline[group] + 20)
                verdict = "timeout" if rc is None else "killed" if rc != 0 else "survived"
            caught = worker.test_elsewhere(group) if verdict == "survived" and args.elsewhere else None
            with open(path, "w", encoding="utf-8", errors="surrogateescape") as handle:
                handle.write(original)
            with lock:
                if verdict == "stillborn":
                    state[group]["taken"] -= 1
                else:
                    results[group].append((verdict, rel, number, kind, old.strip(), new.strip(), caught))
                    print(f"{group:12} {verdict:9} {rel}:{number} {kind}: {new.strip()}", flush=True)

    threads = [threading.Thread(target=work, args=(w,)) for w in workers]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    # Leave each tree as it was, so that a next run starts from a clean build.
    for worker in workers:
        for group in args.groups:
            worker.build_targets(group)

    report = ["", "group          killed  survived  timeout  total  kill rate"]
    total = {"killed": 0, "survived": 0, "timeout": 0}
    for group in args.groups:
        counts = {v: sum(1 for r in results[group] if r[0] == v) for v in total}
        for v in total:
            total[v] += counts[v]
        n = sum(counts.values())
        rate = (counts["killed"] + counts["timeout"]) / n * 100 if n else 0.0
        report.append(f"{group:12} {counts['killed']:8} {counts['survived']:9} {counts['timeout']:8} {n:6}"
                      f"  {rate:8.1f} %")
    n = sum(total.values())
    if n:
        report.append(f"{'all':12} {total['killed']:8} {total['survived']:9} {total['timeout']:8} {n:6}"
                      f"  {(total['killed'] + total['timeout']) / n * 100:8.1f} %")
    report.append("")
    report.append("survivors:")
    for group in args.groups:
        for verdict, rel, number, kind, old, new, caught in sorted(results[group], key=lambda r: (r[1], r[2])):
            if verdict == "survived":
                report.append(f"  {rel}:{number} {kind}: {old}  ->  {new}")
                if caught:
                    report.append(f"      caught by another suite: {caught}")
    report.append(f"\n{time.time() - started:.0f} s, seed {args.seed}, {args.jobs} jobs")
    text = "\n".join(report)
    print(text)
    with open(os.path.join(WORK, "report.txt"), "w") as handle:
        handle.write(text + "\n")


if __name__ == "__main__":
    main()
