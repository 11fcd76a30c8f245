#!/usr/bin/env python3
"""Prints the results of korvel-bench, a JSON file of Google Benchmark, as one table.

The contender that was registered first is the reference. The ratios of the others to it are in parentheses.
"""

import argparse
import json
import statistics


def summary(runs, clock, summarize=statistics.median):
    """One time for all repetitions, by (operation, who, threads)."""
    times = {}
    for run in runs:
        times.setdefault((run["operation"], run["who"], run["threads"]), []).append(run[clock])
    return {key: summarize(values) for key, values in times.items()}


def print_table(times):
    operations = dict.fromkeys(operation for operation, _, _ in times if operation != "threads")
    columns = dict.fromkeys(who for _, who, _ in times)
    reference = next(iter(columns))

    def cell(operation, who):
        time = times.get((operation, who, 1))
        if time is None:
            return ""
        base = times.get((operation, reference, 1))
        return f"{time:.0f}" if who == reference or base is None else f"{time:.0f} ({time / base:.2f})"

    rows = [["ns per call, median", *columns]]
    rows += [[operation, *(cell(operation, who) for who in columns)] for operation in operations]
    widths = [max(map(len, column)) + 2 for column in zip(*rows)]
    for row in rows:
        print(row[0].ljust(widths[0]), *(text.rjust(width) for text, width in zip(row[1:], widths[1:])))


def print_threads(real_times, cpu_times):
    for operation, who, threads in real_times:
        if operation == "threads" and threads > 1:
            one, all_of_them = (operation, who, 1), (operation, who, threads)
            gain = real_times[one] / real_times[all_of_them]
            cost = cpu_times[all_of_them] / cpu_times[one]
            print(f"{who}: {threads} threads with an object each do {gain:.2f} times the cycles of one;", end=" ")
            print(f"a cycle takes {cost:.2f} times the processor time")


def print_notes(runs):
    """Returns a text that says what the operations call and how the other libraries are used."""
    reference = runs[0]["who"]
    notes = {}
    for run in (run for run in runs if "label" in run):
        if run["who"] == reference:
            notes[run["operation"]] = run["label"]
        elif notes.get(run["operation"]) != run["label"]:
            notes[run["who"]] = run["label"]
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
        run["operation"], run["who"] = run["run_name"].split("/real_time")[0].split("/", 1)
        # The processor's time of work on several threads is that of the first thread alone.
        run["time"] = run["real_time" if run["run_name"].endswith("/real_time") else "cpu_time"]

    print_table(summary(runs, "time"))
    print()
    # Whatever else the machine does takes real time away: the best repetition is the one that had both processors.
    print_threads(summary(runs, "real_time", min), summary(runs, "cpu_time"))
    print()
    print_notes(runs)


if __name__ == "__main__":
    main()
