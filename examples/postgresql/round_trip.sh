#!/usr/bin/env bash
# Takes a table of PostgreSQL into a file of records and back: examples/postgresql/round_trip.sh [RECORDCSV]
#
# A private cluster gets a table with a column of every type and 100,000 random rows. COPY writes it to recordcsv, which makes
# records of it, and recordcsv writes those to COPY, which fills a second table. The exit status is 1 where SQL finds a row that
# is in one table only. Without RECORDCSV the program is built first. Nothing but the build remains.
set -euo pipefail
here=$(dirname "$(realpath "$0")")

if (($# == 0)); then
    cd "$here/../.."
    scripts/install-packages postgresql
    cmake --preset release -B build-recordcsv > /dev/null
    cmake --build build-recordcsv --parallel "$(nproc)" --target recordcsv > /dev/null
    set -- build-recordcsv/tools/recordcsv/recordcsv
fi
recordcsv=$(realpath "$1")
bin=$(printf '%s\n' /usr/lib/postgresql/*/bin | sort -V | tail -n 1)
[[ -x $recordcsv ]] || { echo "$0: $1 is no program" >&2; exit 2; }
[[ -x $bin/initdb ]] || { echo "$0: no PostgreSQL below /usr/lib/postgresql" >&2; exit 2; }
unset "${!PG@}" # which would lead to another server

work=$(mktemp -d)
as_postgres=()
quit() {
    trap '' INT TERM HUP
    "${as_postgres[@]}" "$bin/pg_ctl" -D "$work/cluster" -m immediate stop > /dev/null 2>&1 || true
    rm -rf "$work"
}
trap quit EXIT
trap 'exit 130' INT TERM HUP
cd "$work"
if ((EUID == 0)); then # as which PostgreSQL does not run
    as_postgres=(runuser -u postgres --)
    chown postgres "$work"
fi

"${as_postgres[@]}" "$bin/initdb" -D "$work/cluster" -E UTF8 --locale=C -A trust -N > /dev/null
"${as_postgres[@]}" "$bin/pg_ctl" -D "$work/cluster" -w -l "$work/cluster/log" \
    -o "-k $work -c listen_addresses= -c fsync=off" start > /dev/null
sql() {
    "${as_postgres[@]}" psql -X -h "$work" -d postgres -qAt -v ON_ERROR_STOP=1 "$@"
}

sql < "$here/rows.sql"

# Fractions count without a point in a record, so that they need all of their digits; COPY would leave out the zeros behind.
sql -c "COPY (SELECT padded, counted, terminated, wide_padded, wide_counted, wide_terminated, int8, int16, int32, int64, uint8,
    uint16, uint32, uint64, float64, float32, packed, varnum, to_char(stamp, 'YYYY-MM-DD HH24:MI:SS.US') AS stamp,
    to_char(day, 'DD Mon YYYY') AS day, clock FROM sent) TO STDOUT (FORMAT csv, HEADER, NULL '\N')" |
    "$recordcsv" from-csv "$here/types.layout" - records.bin --null '\N'
"$recordcsv" to-csv "$here/types.layout" records.bin - --null '\N' |
    sql -c "COPY returned FROM STDIN (FORMAT csv, HEADER MATCH, NULL '\N')"

# 0 and -0 are equal to SQL, so that floating-point numbers are compared by their bytes as well.
read -r sent checksum_sent returned checksum_returned lost strange < <(sql -F ' ' << 'END'
CREATE VIEW a AS SELECT *, float8send(float64), float4send(float32) FROM sent;
CREATE VIEW b AS SELECT *, float8send(float64), float4send(float32) FROM returned;
CREATE TABLE lost AS SELECT * FROM a EXCEPT ALL SELECT * FROM b;
CREATE TABLE strange AS SELECT * FROM b EXCEPT ALL SELECT * FROM a;
SELECT * FROM (SELECT count(*), sum(hash_record_extended(a, 0)) FROM a) AS of_a,
    (SELECT count(*), sum(hash_record_extended(b, 0)) FROM b) AS of_b,
    (SELECT count(*) FROM lost) AS of_lost, (SELECT count(*) FROM strange) AS of_strange;
END
)
echo "sent: $sent rows, checksum $checksum_sent"
echo "returned: $returned rows, checksum $checksum_returned"
echo "only sent: $lost rows; only returned: $strange rows"
((sent == 100000 && returned == sent && lost == 0 && strange == 0)) && exit
sql -x -c "SELECT * FROM lost LIMIT 2" -c "SELECT * FROM strange LIMIT 2" >&2
exit 1
