#!/usr/bin/env bash
# Does the wheel work where nothing else of korvel is? Makes it of a build, installs it without a network into a fresh
# environment, and uses it there; what it loads beside the runtimes of C and C++ is its own.
#
# Usage: wheel.sh BUILD PYTHON
set -euo pipefail
build=$1
python=$2
unset PYTHONPATH KORVEL_LIBRARY_PATH
source=$(realpath "$(dirname "$0")/../../..")
"$python" -c 'import setuptools, numpy, pip, venv, wheel' 2>/dev/null || { echo "skipped: needs numpy, pip, setuptools, venv, wheel" && exit 77; }
work=$(mktemp -d "${TMPDIR:-/tmp}/korvel wheel test XXXXXX")
trap 'rm -rf "$work"' EXIT

"$source/tools/wheel" "$build" "$work"
wheel=$(echo "$work"/korvel-*-py3-none-linux_*.whl)
"$python" -m venv --without-pip --system-site-packages "$work/fresh"
"$python" -m pip --python "$work/fresh/bin/python" install --quiet --no-index "$wheel"
cd "$work"
KORVEL_SOURCE=$source fresh/bin/python - <<'END'
import importlib.metadata
import os
import pathlib

import numpy as np

import korvel

package = pathlib.Path(korvel.__file__).parent
assert "fresh" in package.parts, package
zero = np.zeros((1000, 30), np.float32)
weight = korvel.Batch(2).dynamics(zero, zero, zero)[:, 2]
assert 40 < weight[0] < 70 and (weight == weight[0]).all()
assert korvel.Motion.read(os.path.join(os.environ["KORVEL_SOURCE"], "examples", "motions", "squat.csv")).q.shape == (601, 30)
with open("/proc/self/maps") as maps:
    loaded = {pathlib.Path(line.split(maxsplit=5)[5].rstrip()) for line in maps if ".so" in line}
ours = {path.name for path in loaded if path.parent == package}
assert {path.name for path in package.glob("*.so.*")} == ours and len(ours) >= 4, ours
assert not [path for path in loaded if path.name.split(".")[0] in {name.split(".")[0] for name in ours} and path.parent != package]
for name in ours:
    assert name.startswith("libkorvel") or list((package / "licenses").glob(name.split(".")[0] + "*")), name
assert (package / "py.typed").exists()
print("wheel", importlib.metadata.version("korvel"), *sorted(ours))
END
