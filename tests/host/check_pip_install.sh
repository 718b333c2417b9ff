#!/bin/sh
# Installs the Python package with pip into a fresh virtual environment,
# offline, as the README says, then uses it from another directory with no
# environment variable: the library and the extension must come with it.
# Usage: check_pip_install.sh SOURCE_DIR WORK_DIR PYTHON
set -eu
source_dir=$1 work_dir=$2 python=$3
rm -rf "$work_dir"
mkdir -p "$work_dir"
"$python" -m venv "$work_dir/venv"
"$work_dir/venv/bin/python" -m pip install --quiet --no-index \
  --find-links /usr/share/python-wheels wheel
"$work_dir/venv/bin/python" -m pip install --quiet --no-build-isolation "$source_dir"
cd "$work_dir"
env -u QUORB_LIBRARY -u PYTHONPATH "$work_dir/venv/bin/python" - "$source_dir" <<'PYTHON'
import sys
import quorb

catalog = sys.argv[1] + "/examples/catalog.inp"
assert quorb.load_file(catalog).loaded == 35, "the catalog did not load"
assert len(quorb.to_arrays()["sat_num"]) == 35, "to_arrays did not read the store"
try:
    quorb.load_file("no_such_file.inp")
    raise AssertionError("a missing file loaded")
except OSError:
    pass
assert quorb.bindings.library_location().startswith(sys.prefix), "not the installed library"
print("installed", quorb.__version__)
PYTHON
