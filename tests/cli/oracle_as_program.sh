#!/bin/sh
# Stands in for the program where it is not built: `oracle_as_program.sh json
# ARGS...` runs the Python reference with ARGS.
shift
exec python3 "$(dirname "$0")/../../bench/qelcert_json.py" "$@"
