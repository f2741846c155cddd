#!/usr/bin/env bash
# Tests the Python package: test.sh LIBRARY, with RECORDCSV naming the program. Types are checked, the tests run, and the
# package is installed by pip from the checkout and imported from elsewhere.
set -euo pipefail
cd "$(dirname "$0")"

ZEMT_LIBRARY=$(realpath "$1")
export ZEMT_LIBRARY
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mypy --strict --cache-dir "$work/mypy" zemt
PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$PWD /usr/bin/python3 -m pytest -q tests

cp -r . "$work/package"
/usr/bin/python3 -m venv --system-site-packages "$work/environment"
"$work/environment/bin/pip" install --quiet --no-index --no-build-isolation "$work/package"
cd "$work"
environment/bin/python -c 'import zemt; assert zemt.number(zemt.number(-2, "SmallInt"), "SmallInt") == -2; print("pip has installed", zemt.__version__)'
