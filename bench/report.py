#!/usr/bin/env python3
"""Turns the JSON files of bench/run.sh into one Markdown summary: the machine,
each pair of bench/pairs.tsv with its medians and ratio, then every median.

  report.py --pairs PAIRS.tsv [--cpu N --reps N --load S --failed S] FILE.json...
  report.py --splice RESULTS.md SUMMARY.md
"""
import argparse
import json
import os
import platform
import re
import sys

BEGIN = "<!-- bench/run.sh: begin -->"
END = "<!-- bench/run.sh: end -->"
TO_NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def fmt_time(ns):
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if ns >= scale:
            return f"{ns / scale:.3g} {unit}"
    return f"{ns:.3g} ns"


def load(files):
    """{binary: {run_name: {aggregate: (cpu_ns, real_ns)}}}, and one context."""
    results, context = {}, {}
    for path in files:
        try:
            with open(path) as f:
                data = json.load(f)
        except (OSError, ValueError):
            continue  # a binary that ran nothing (filtered out, or failed early)
        context = context or data.get("context", {})
        binary = os.path.basename(path)[: -len(".json")]
        runs = results.setdefault(binary, {})
        for b in data.get("benchmarks", []):
            if b.get("run_type") != "aggregate" or "error_occurred" in b:
                continue
            scale = TO_NS.get(b.get("time_unit", "ns"), 1.0)
            aggs = runs.setdefault(b["run_name"], {})
            if b["aggregate_name"] == "cv":  # a fraction, not a time
                aggs["cv"] = (b["cpu_time"], b["real_time"])
            else:
                aggs[b["aggregate_name"]] = (b["cpu_time"] * scale, b["real_time"] * scale)
    return results, context


def build_info(build):
    cache = {}
    try:
        with open(os.path.join(build, "CMakeCache.txt")) as f:
            for line in f:
                m = re.match(r"(CMAKE_BUILD_TYPE|CMAKE_CXX_COMPILER):\w+=(.*)", line)
                if m:
                    cache[m.group(1)] = m.group(2)
    except OSError:
        return "build settings unknown"
    compiler = cache.get("CMAKE_CXX_COMPILER", "c++")
    version = os.popen(f"'{compiler}' --version 2>/dev/null").readline().strip()
    return f"{version or compiler}, CMAKE_BUILD_TYPE {cache.get('CMAKE_BUILD_TYPE', '?')}"


def machine(context):
    model = ""
    try:
        with open("/proc/cpuinfo") as f:
            model = next((l.split(":", 1)[1].strip() for l in f if l.startswith("model name")), "")
    except OSError:
        pass
    u = platform.uname()
    mhz = context.get("mhz_per_cpu")
    return (f"{model or u.machine}, {os.cpu_count()} cores"
            + (f" ({mhz} MHz as reported)" if mhz else "")
            + f", {u.system} {u.release} {u.machine}")


def ratio(peer, anvil):
    return f"{peer / anvil:.2f}×" if anvil > 0 else "–"


def summary(args):
    results, context = load(args.files)
    out = [BEGIN, "## Side by side: every pair, one run of `bench/run.sh`", ""]
    out.append(f"Machine: {machine(context)}. Build: {build_info(args.build)}. Run {context.get('date', '')}, every binary pinned "
               f"to core {args.cpu} (`taskset`), {args.reps} repetitions each, medians; load "
               f"average before / after: {args.load}.")
    if args.failed.strip():
        out.append(f"Binaries that failed (their rows are missing): {args.failed.strip()}.")
    out += ["",
            "Ratio = peer time / libanvil time, so 1.00× or more means libanvil is at least as "
            "fast. CPU time is the primary figure (the machine may be shared); the wall-time "
            "ratio is given beside it.", "",
            "| workload | libanvil (CPU) | peer (CPU) | ratio, CPU | ratio, wall | libanvil benchmark | peer benchmark |",
            "|---|---|---|---|---|---|---|"]
    with open(args.pairs) as f:
        for line in f:
            if not line.strip() or line.startswith("#"):
                continue
            workload, anvil, peer, binary = line.rstrip("\n").split("\t")[:4]
            runs = results.get(binary, {})
            a, p = runs.get(anvil, {}).get("median"), runs.get(peer, {}).get("median")
            if not a or not p:
                out.append(f"| {workload} | not run | not run | | | `{anvil}` | `{peer}` |")
                continue
            out.append(f"| {workload} | {fmt_time(a[0])} | {fmt_time(p[0])} | {ratio(p[0], a[0])} "
                       f"| {ratio(p[1], a[1])} | `{anvil}` | `{peer}` |")
    out += ["", "<details><summary>Every benchmark: medians and CPU-time spread</summary>", "",
            "| binary | benchmark | CPU | wall | CV of CPU |", "|---|---|---|---|---|"]
    for binary in sorted(results):
        for name, aggs in results[binary].items():
            if "median" not in aggs:
                continue
            cv = aggs.get("cv", (0, 0))[0]
            out.append(f"| {binary} | `{name}` | {fmt_time(aggs['median'][0])} "
                       f"| {fmt_time(aggs['median'][1])} | {cv * 100:.1f}% |")
    out += ["", "</details>", "", "JSON: `<build>/bench-results/<binary>.json`.", END]
    print("\n".join(out))


def splice(results_md, summary_md):
    with open(summary_md) as f:
        new = f.read().strip()
    with open(results_md) as f:
        text = f.read()
    pattern = re.compile(re.escape(BEGIN) + ".*?" + re.escape(END), re.S)
    if pattern.search(text):
        text = pattern.sub(lambda _: new, text, count=1)
    else:
        text = text.rstrip("\n") + "\n\n" + new + "\n"
    with open(results_md, "w") as f:
        f.write(text)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--pairs")
    ap.add_argument("--build", default=".")
    ap.add_argument("--cpu", default="?")
    ap.add_argument("--reps", default="?")
    ap.add_argument("--load", default="?")
    ap.add_argument("--failed", default="")
    ap.add_argument("--splice", metavar="RESULTS_MD")
    ap.add_argument("files", nargs="+")
    args = ap.parse_args()
    if args.splice:
        splice(args.splice, args.files[0])
    else:
        summary(args)


if __name__ == "__main__":
    sys.exit(main())
