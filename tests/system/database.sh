# A look into the service's database while it runs. Sourced by system tests that keep it in $case_dir/data.
# shellcheck shell=bash

: "${case_dir:?}"

# in_database SQL: the first column of the first row.
in_database() {
  python3 - "$case_dir/data" "$1" <<'PYTHON'
import glob
import sqlite3
import sys

[database] = glob.glob(sys.argv[1] + "/*.db")
with sqlite3.connect(database, timeout=10) as connection:
    row = connection.execute(sys.argv[2]).fetchone()
    print(row[0] if row else "")
PYTHON
}
