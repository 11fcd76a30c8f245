#!/usr/bin/env python3
"""Prints the results of korvel-bench, a JSON file of Google Benchmark, as one table.

The contender that was registered first is the reference. The ratios of the others to it are in parentheses.
"""

import argparse
import json
import statistics


def summary(runs, clock, summarize=statistics.median):
    """Returns one time for all repetitions, by (operation, who, threads)."""
    times = {}
    for run in runs:
        times.setdefault((run["operation"], run["who"], run["threads"]), []).append(run[clock])
    return {key: summarize(values) for key, values in times.items()}


def print_table(runs):
    times = {key[:2]: time for key, time in summary(runs, "time").items() if key[0] != "threads"}
    columns = list(dict.fromkeys(who for _, who in times))

    def cell(operation, who):
        time, base = times.get((operation, who)), times.get((operation, columns[0]))
        ratio = f" ({time / base:.2f})" if time and base and who != columns[0] else ""
        return f"{time:.0f}{ratio}" if time else ""

    rows = [["ns per call, median", *columns]]
    rows += [[name, *(cell(name, who) for who in columns)] for name in dict.fromkeys(operation for operation, _ in times)]
    widths = [max(map(len, column)) + 2 for column in zip(*rows)]
    for first, *others in rows:
        print(first.ljust(widths[0]), *(text.rjust(width) for text, width in zip(others, widths[1:])))
    print()


def print_threads(runs):
    # Whatever else the machine does takes real time away: the best repetition is the one that had both processors.
    runs = [run for run in runs if run["operation"] == "threads"]
    real_times, cpu_times = summary(runs, "real_time", min), summary(runs, "cpu_time")
    for many in (key for key in real_times if key[2] > 1):
        one = (*many[:2], 1)
        print(f"{many[1]}: {many[2]} threads with an object each do {real_times[one] / real_times[many]:.2f} times the cycles "
              f"of one; a cycle takes {cpu_times[many] / cpu_times[one]:.2f} times the processor time")
    print()


def print_notes(runs):
    """Prints what the operations call and how the other libraries are used."""
    notes = {}
    for run in (run for run in runs if "label" in run):
        subject = "operation" if run["who"] == runs[0]["who"] or notes.get(run["operation"]) == run["label"] else "who"
        notes[run[subject]] = run["label"]
    for subject, note in notes.items():
        print(f"{subject}: {note}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("results", help="the JSON file")
    with open(parser.parse_args().results, encoding="utf-8") as file:
        benchmarks = json.load(file)["benchmarks"]
    runs = [run for run in benchmarks if run["run_type"] == "iteration"]
    runs.sort(key=lambda run: run["family_index"])
    for run in runs:
        name, *on_threads = run["run_name"].split("/real_time")
        run["operation"], run["who"] = name.split("/", 1)
        # The processor's time of work on several threads is that of the first thread alone.
        run["time"] = run["real_time" if on_threads else "cpu_time"]
    print_table(runs)
    print_threads(runs)
    print_notes(runs)


if __name__ == "__main__":
    main()
