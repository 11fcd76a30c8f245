#!/usr/bin/env python3
"""Prints the size of the code of each computation of a module: of its function alone, and with all functions of the
module that it calls, directly or not. Calls through tables and into other libraries are not followed."""

import re
import subprocess
import sys

COMPUTATIONS = (
    "computeFwdKinematicsExceptRoot",
    "computeFwdKinematicsOnlyRoot",
    "computeGeneralizedMass",
    "computeInverseDynamics",
    "computePartialComJacobian",
    "computePartialComPositionInRoot",
)
FUNCTION = re.compile(r"^([0-9a-f]+) <")
BRANCH = re.compile(r":\t(?:call|j\w+|bl?(?:\.\w+)?)\s+([0-9a-f]+) <")


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.splitlines()


def functions(module):
    """Sizes and mangled names by address."""
    symbols = (line.split() for line in output_of("nm", "--print-size", "--defined-only", module))
    return {int(s[0], 16): (int(s[1], 16), s[3]) for s in symbols if len(s) == 4 and s[2] in "tTwW"}


def branches(module, known):
    """Functions that a function calls or jumps to, by address."""
    targets = {address: set() for address in known}
    current = None
    for line in output_of("objdump", "--disassemble", "--no-show-raw-insn", module):
        if start := FUNCTION.match(line):
            current = targets.get(int(start[1], 16))
        elif current is not None and (branch := BRANCH.search(line)) and int(branch[1], 16) in known:
            current.add(int(branch[1], 16))
    return targets


def reachable(roots, targets):
    found, pending = set(), list(roots)
    while pending:
        address = pending.pop()
        if address not in found:
            found.add(address)
            pending.extend(targets[address])
    return found


def main():
    module = sys.argv[1]
    known = functions(module)
    targets = branches(module, known)
    print(f"{'code [bytes]':34}{'alone':>12}{'with callees':>14}")
    for computation in COMPUTATIONS:
        symbol = f"{len(computation)}{computation}E"
        roots = [address for address, (_, name) in known.items() if symbol in name]
        if not roots:
            print(f"{computation:34}{'not in the symbol table':>26}")
            continue
        sizes = [sum(known[address][0] for address in group) for group in (roots, reachable(roots, targets))]
        print(f"{computation:34}{sizes[0]:12}{sizes[1]:14}")


if __name__ == "__main__":
    main()
