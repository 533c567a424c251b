#!/usr/bin/env python3
"""Writes docs/performance.md from the results that scripts/bench.sh collects.

Inputs, all in one results directory:
  <program>.json    Google Benchmark output (--benchmark_out_format=json) run
                    with repetitions; the median aggregate of each benchmark
                    is its figure.
  extra.jsonl       one JSON object per line from bench/BenchResults.h:
                    {"name", "unit": "us", "median", "p99", "samples"}.
  memory.jsonl      one JSON object per line from the footprint step of
                    scripts/bench.sh: {"name", "bytes"} peak heaps (massif),
                    {"name": "message_allocs", "per_message"} and
                    {"name": "idle_rss", "kib"}; {"name", "error"} on failure.
  armhf-sizes.txt   output of scripts/armhf-sizes.sh, or armhf-skipped.txt
                    saying why there is none.
  notes come from bench/performance-notes.md and are copied after the table.

Every row of ROWS appears in the report; a row whose figures are missing is
shown as "not measured" with the reason, never dropped.
"""

import argparse
import datetime
import json
import os
import platform
import re
import sys

NS_PER_UNIT = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}

# kind:
#   max_ratio  ours / baseline (times), met when <= target
#   min_rate   baseline time / our time (rates), met when >= target
#   latency    median and p99 of a sampled latency (us), met when both <= target
#   max_time   our median time, met when <= target (ns)
#   size       stripped armhf total, met when <= target (bytes)
#   info       shown for context, no verdict
ROWS = [
    dict(op="config read (vmCfgGetParam)", kind="max_ratio", ours="BM_ConfigGet",
         base="BM_RawSqliteSelect", base_text="raw SQLite select", target=1.2),
    dict(op="config write (vmCfgSetParam)", kind="max_ratio", ours="BM_ConfigSet",
         base="BM_RawSqliteUpsert", base_text="raw SQLite upsert", target=1.3),
    dict(op="alarm raise (12 writes + callback pass)", kind="max_ratio", ours="BM_AlertManagerSetAlert",
         base="BM_RawSqlite12Upserts", base_text="12 raw SQLite upserts", target=1.5),
    dict(op="alarm raise (slot search + 12 writes, one batch)", kind="max_ratio", ours="BM_AlertManagerSetAlertOnly",
         base="BM_RawSqlite12UpsertsOneTransaction", base_text="12 raw SQLite upserts in one transaction",
         target=1.3),
    dict(op="alarm raise (slot search + 12 writes, one batch) against its own statements",
         kind="info", ours="BM_AlertManagerSetAlertOnly", base="BM_RawSqliteRaiseStatements",
         base_text="2 reads + 12 upserts + journal row, raw SQLite, one transaction"),
    dict(op="cross-process write -> callback latency", kind="latency", ours="config_write_to_callback",
         median=2000.0, p99=10000.0),
    dict(op="cross-process alarm -> card latency", kind="latency", ours="alarm_raise_to_card",
         median=5000.0, p99=20000.0),
    dict(op="event send + receive + rebuild", kind="min_rate", ours="BM_IppStatusEventRoundTrip/real_time",
         base="BM_RawMqSendReceive/real_time", base_text="raw mq_send + mq_receive", target=0.7),
    dict(op="card JSON write + read", kind="max_ratio", ours="BM_CardJsonWriteRead",
         base="BM_RawRapidJsonCard", base_text="raw RapidJSON Writer + Document", target=1.5),
    dict(op="card built for an alarm + write + read (with originator)", kind="info",
         ours="BM_CardBuildWriteRead", base="BM_RawRapidJsonCard", base_text="raw RapidJSON Writer + Document"),
    dict(op="status report, 50 paths over 10,000 params", kind="max_ratio", ours="BM_EmsStatusReport",
         base="BM_RawSqliteAndRapidJson", base_text="raw SQLite queries + RapidJSON write", target=1.5),
    dict(op="peripheral rewrite, 200 configured filters", kind="max_ratio", ours="BM_RewriteConfigured200",
         base="BM_RawRapidJsonParse200", base_text="raw RapidJSON parse", target=1.5),
    dict(op="peripheral rewrite, 200 default filters", kind="info", ours="BM_RewriteDefault200",
         base="BM_RawRapidJsonParse200", base_text="raw RapidJSON parse"),
    dict(op="signature verify, 256 MiB (vm_verify_signature)", kind="min_rate",
         ours="BM_VmVerifySignature/iterations:4/real_time", base="BM_OpensslDgstSha256/iterations:4/real_time",
         base_text="openssl dgst -sha256", target=0.9),
    dict(op="signature verify, 256 MiB (SignatureVerifier::verify)", kind="min_rate",
         ours="BM_SignatureVerifierVerify/iterations:4/real_time",
         base="BM_OpensslDgstSha256/iterations:4/real_time", base_text="openssl dgst -sha256", target=0.9),
    dict(op="signed-file split, 256 MiB", kind="max_time", ours="BM_ExtractSignature/iterations:50/real_time",
         target=5e6, target_text="< 5 ms"),
    dict(op="startup: AlertManager + AlertUINotifier init", kind="latency", ours="alerts_startup",
         median=10000.0, p99=None, target_text="< 10 ms"),
    dict(op="stripped armhf library size", kind="size", target=1.5 * 1024 * 1024,
         target_text="< 1.5 MiB together"),
]


def load_benchmarks(results):
    """Median nanoseconds per iteration of every benchmark, by run name."""
    medians = {}
    for name in sorted(os.listdir(results)):
        if not name.endswith(".json"):
            continue
        with open(os.path.join(results, name)) as f:
            data = json.load(f)
        for b in data.get("benchmarks", []):
            if b.get("error_occurred"):
                continue
            if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "median":
                continue
            run = b.get("run_name", b["name"])
            # Without repetitions a plain run stands in; a median always wins.
            if b.get("run_type") == "iteration" and run in medians:
                continue
            medians[run] = b["real_time"] * NS_PER_UNIT.get(b.get("time_unit", "ns"), 1.0)
    return medians


def load_jsonl(results, name):
    """The records of a JSON-lines results file, by their "name"."""
    records = {}
    path = os.path.join(results, name)
    if os.path.exists(path):
        with open(path) as f:
            for line in f:
                line = line.strip()
                if line:
                    record = json.loads(line)
                    records[record["name"]] = record
    return records


def load_samples(results):
    return load_jsonl(results, "extra.jsonl")


def load_sizes(results):
    """(total bytes, per-library lines) or (None, reason)."""
    path = os.path.join(results, "armhf-sizes.txt")
    if os.path.exists(path):
        with open(path) as f:
            text = f.read()
        match = re.search(r"^total\s+(\d+)", text, re.M)
        if match:
            return int(match.group(1)), text.strip()
        return None, "armhf-sizes.sh printed no total"
    skipped = os.path.join(results, "armhf-skipped.txt")
    if os.path.exists(skipped):
        with open(skipped) as f:
            return None, f.read().strip()
    return None, "armhf build not run"


# Heap peaks are shown above the idle process's own (the C++ runtime's
# emergency exception pool and the libraries' static set-up), which every
# process pays whatever it does.
KIB = 1024.0
# The report's peak may differ between database sizes by allocator noise only.
REPORT_GROWTH_SLACK = 8 * 1024


def load_memory(results):
    return load_jsonl(results, "memory.jsonl")


def memory_rows(memory):
    """operation, measured, target, verdict."""
    def peak(name):
        record = memory.get(name, {})
        return record.get("bytes")

    def missing(*names):
        for name in names:
            record = memory.get(name)
            if record is None:
                return "not measured (%s)" % name
            if "error" in record:
                return "not measured (%s)" % record["error"]
        return None

    rows = []
    idle = peak("idle")
    why = missing("idle", "alerts")
    if why:
        rows.append(["alarm manager + notifier start: peak heap", "-", "< 256 KiB", why])
    else:
        above = peak("alerts") - idle
        rows.append(["alarm manager + notifier start: peak heap",
                     "%.0f KiB (process %.0f KiB, idle process %.0f KiB)" % (above / KIB, peak("alerts") / KIB,
                                                                              idle / KIB),
                     "< 256 KiB", "met" if above < 256 * KIB else "missed"])
    why = missing("idle", "report_10000", "report_100000")
    if why:
        rows.append(["status report, 50 paths: peak heap", "-", "does not grow with the database", why])
    else:
        big, small = peak("report_100000"), peak("report_10000")
        rows.append(["status report, 50 paths: peak heap",
                     "%.0f KiB over 100,000 params, %.0f KiB over 10,000 (above idle)" % ((big - idle) / KIB,
                                                                                        (small - idle) / KIB),
                     "does not grow with the database",
                     "met" if big - small <= REPORT_GROWTH_SLACK else "missed"])
    why = missing("idle", "rewrite_200")
    rows.append(["peripheral rewrite, 200 configured filters: peak heap",
                 "-" if why else "%.0f KiB (above idle)" % ((peak("rewrite_200") - idle) / KIB), "-",
                 why or "-"])
    why = missing("message_allocs")
    if why:
        rows.append(["event built and sent: heap allocations per message", "-", "0", why])
    else:
        record = memory["message_allocs"]
        rows.append(["event built and sent: heap allocations per message",
                     "%d (%d allocations in all for 100 messages, %d for 1,100)" % (
                         record["per_message"], record["short"], record["long"]),
                     "0", "met" if record["per_message"] == 0 else "missed"])
    why = missing("idle_rss")
    rows.append(["process that loads both libraries and does nothing: resident size",
                 "-" if why else "%d KiB" % memory["idle_rss"]["kib"], "-", why or "-"])
    return rows


def fmt_time(ns):
    if ns is None:
        return "-"
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if ns >= scale:
            return "%.3g %s" % (ns / scale, unit)
    return "%.3g ns" % ns


def row_cells(row, medians, samples, sizes):
    """operation, ours, baseline, ratio, target, verdict."""
    kind = row["kind"]
    if kind in ("max_ratio", "min_rate", "info"):
        ours = medians.get(row["ours"])
        base = medians.get(row["base"])
        base_text = "%s: %s" % (row["base_text"], fmt_time(base))
        if ours is None or base is None:
            missing = row["ours"] if ours is None else row["base"]
            return [row["op"], fmt_time(ours), base_text, "-", target_text(row), "not measured (%s)" % missing]
        if kind == "min_rate":
            ratio = base / ours
            return [row["op"], fmt_time(ours), base_text, "%.2fx the rate" % ratio, target_text(row),
                    "met" if ratio >= row["target"] else "missed"]
        ratio = ours / base
        verdict = "-" if kind == "info" else ("met" if ratio <= row["target"] else "missed")
        return [row["op"], fmt_time(ours), base_text, "%.2fx" % ratio, target_text(row), verdict]
    if kind == "latency":
        record = samples.get(row["ours"])
        if record is None:
            return [row["op"], "-", "-", "-", target_text(row), "not measured (%s)" % row["ours"]]
        median, p99 = record["median"] * 1e3, record["p99"] * 1e3
        ok = record["median"] <= row["median"] and (row["p99"] is None or record["p99"] <= row["p99"])
        ours = "median %s, p99 %s (%d samples)" % (fmt_time(median), fmt_time(p99), record["samples"])
        return [row["op"], ours, "-", "-", target_text(row), "met" if ok else "missed"]
    if kind == "max_time":
        ours = medians.get(row["ours"])
        if ours is None:
            return [row["op"], "-", "-", "-", target_text(row), "not measured (%s)" % row["ours"]]
        return [row["op"], fmt_time(ours), "-", "-", target_text(row), "met" if ours <= row["target"] else "missed"]
    if kind == "size":
        total, detail = sizes
        if total is None:
            return [row["op"], "-", "-", "-", target_text(row), "not measured (%s)" % detail]
        ours = "%d bytes (%.2f MiB)" % (total, total / 1048576.0)
        return [row["op"], ours, "-", "-", target_text(row), "met" if total <= row["target"] else "missed"]
    raise ValueError(kind)


def target_text(row):
    if "target_text" in row:
        return row["target_text"]
    kind = row["kind"]
    if kind == "max_ratio":
        return "<= %gx" % row["target"]
    if kind == "min_rate":
        return ">= %gx the rate" % row["target"]
    if kind == "latency":
        return "median <= %g ms, p99 <= %g ms" % (row["median"] / 1e3, row["p99"] / 1e3)
    return "-"


def machine():
    model = "unknown"
    try:
        with open("/proc/cpuinfo") as f:
            for line in f:
                if line.startswith("model name"):
                    model = line.split(":", 1)[1].strip()
                    break
    except OSError:
        pass
    return model, os.cpu_count(), platform.release()


def escape(cell):
    return str(cell).replace("|", "\\|")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--results", required=True)
    parser.add_argument("--out", required=True)
    parser.add_argument("--notes", help="markdown copied after the table")
    parser.add_argument("--load", default="", help="load average when the run started")
    parser.add_argument("--elapsed", default="", help="seconds the whole command took")
    parser.add_argument("--repetitions", default="")
    args = parser.parse_args()

    medians = load_benchmarks(args.results)
    samples = load_samples(args.results)
    sizes = load_sizes(args.results)
    memory = load_memory(args.results)
    model, cores, kernel = machine()

    out = []
    out.append("# Performance")
    out.append("")
    out.append("Generated by `scripts/bench.sh`; do not edit by hand (the notes come from "
               "`bench/performance-notes.md`). Each figure is the median of the repetitions; each "
               "baseline ran in the same program on the same machine moments apart, so the ratios hold up "
               "better than the absolute times on a shared machine.")
    out.append("")
    out.append("- Date: %s" % datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC"))
    out.append("- CPU: %s, %s cores; kernel %s" % (model, cores, kernel))
    out.append("- Load average at start (1, 5, 15 min): %s" % (args.load or "unknown"))
    if args.repetitions:
        out.append("- Repetitions per benchmark: %s" % args.repetitions)
    if args.elapsed:
        out.append("- The whole command took %s s" % args.elapsed)
    out.append("")
    out.append("| operation | ours (median) | baseline (median) | ratio | target | verdict |")
    out.append("|---|---|---|---|---|---|")
    verdicts = []
    for row in ROWS:
        cells = row_cells(row, medians, samples, sizes)
        verdicts.append(cells[-1])
        out.append("| " + " | ".join(escape(c) for c in cells) + " |")
    out.append("")
    out.append("## Memory")
    out.append("")
    out.append("Measured on this host with valgrind: peak heap by massif (requested bytes plus the "
               "allocator's overhead) of a process that does one operation, shown above the peak of a "
               "process that loads both libraries and does nothing; allocations by memcheck's count "
               "over 100 and 1,100 messages; the resident size from /proc/self/status.")
    out.append("")
    out.append("| operation | measured | target | verdict |")
    out.append("|---|---|---|---|")
    for cells in memory_rows(memory):
        verdicts.append(cells[-1])
        out.append("| " + " | ".join(escape(c) for c in cells) + " |")
    out.append("")
    total, detail = sizes
    if total is not None:
        out.append("armhf sizes (bytes, stripped copies):")
        out.append("")
        out.append("```")
        out.append(detail)
        out.append("```")
        out.append("")
    if args.notes and os.path.exists(args.notes):
        with open(args.notes) as f:
            out.append(f.read().rstrip())
            out.append("")
    with open(args.out, "w") as f:
        f.write("\n".join(out))
    missed = sum(1 for v in verdicts if v == "missed")
    unmeasured = sum(1 for v in verdicts if v.startswith("not measured"))
    print("wrote %s: %d rows, %d missed, %d not measured" % (args.out, len(ROWS), missed, unmeasured))
    return 0


if __name__ == "__main__":
    sys.exit(main())
