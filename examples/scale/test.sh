#!/usr/bin/env bash
# End-to-end test of convert.py on a scheduler of its own, and of commands in docs/scaling.md: test.sh RECORDCSV RANDOM_RECORDS
set -euo pipefail
recordcsv=$(realpath "$1")
random_records=$(realpath "$2")
here=$(dirname "$(realpath "$0")")
repository=$(realpath "$here/../..")
work=$(mktemp -d)
processes=()
quit() {
    trap '' INT TERM HUP
    kill -9 "${processes[@]}" 2> /dev/null || true
    wait 2> /dev/null || true
    rm -rf "$work"
}
trap quit EXIT
trap 'exit 130' INT TERM HUP
cd "$work"

fail() {
    echo "FAIL: $*"
    exit 1
}

# await COMMAND...: until it succeeds, a minute at most
await() {
    for ((tries = 0; tries < 6000; ++tries)); do
        if "$@"; then return; fi
        sleep 0.01
    done
    fail "in vain: $*"
}

# run STATUS MESSAGE ARGUMENTS...: convert.py must end with the status and say the message
run() {
    local expected=$1 message=$2 status=0
    shift 2
    "$here/convert.py" --scheduler "$address" "$@" > said 2>&1 || status=$?
    [[ $status == "$expected" ]] || fail "$* ended with $status, not $expected: $(tail -n 3 said)"
    grep -qF -- "$message" said || fail "$*: expected \"$message\", got: $(tail -n 3 said)"
}

joined_is_single() {
    cat "$1"/part-*.csv | cmp - single.csv || fail "$1 differs from a single run"
    /usr/bin/python3 -c 'import json, sys
for part in json.load(sys.stdin)["parts"]: print(part["sha256"], part["file"], sep="  ")' < "$1/manifest.json" > sums
    (cd "$1" && sha256sum --check --quiet ../sums) || fail "$1/manifest.json has other checksums"
    [[ -z $(find "$1" -name '.*' -mindepth 1) ]] || fail "left behind: $(find "$1" -name '.*')"
}

cp "$repository/tools/recordcsv/sample/cities.layout" .
"$random_records" cities.layout 1 19999 > records.bin
"$recordcsv" to-csv cities.layout records.bin single.csv

# Begins no part behind the eighth until it may, and notes which worker waits.
cat > held << END
#!/usr/bin/env bash
if [[ \$1 == to-csv ]]; then
    echo "\$PPID" >> "$work/begun"
    [[ "\$*" =~ --skip\ ([0-9]+) ]]
    ((BASH_REMATCH[1] < 4000)) || echo "\$PPID" >> "$work/waiting"
    until ((BASH_REMATCH[1] < 4000)) || [[ -e $work/go_on ]]; do sleep 0.05; done
fi
exec "$recordcsv" "\$@"
END
chmod +x held

/usr/bin/dask-scheduler --host 127.0.0.1 --port 0 --no-dashboard --scheduler-file scheduler.json > scheduler.log 2>&1 &
processes+=($!)
await grep -qs '"address"' scheduler.json
address=$(sed -n 's/.*"address": "\(.*\)".*/\1/p' scheduler.json)
for worker in 1 2 3; do
    /usr/bin/dask-worker "$address" --host 127.0.0.1 --nthreads 1 --no-nanny --no-dashboard --local-directory "$work/workers" \
        > worker.$worker.log 2>&1 &
    processes+=($!)
done
await eval '(($(grep -l "Registered to" worker.?.log | wc -l) == 3))'

parts_done() {
    find "$1" -name 'part-*.json' | wc -l
}

# One of three workers that convert a part each is killed, while others are done and others are not begun.
options=(--rows-per-part 500 cities.layout records.bin out --recordcsv)
"$here/convert.py" --scheduler "$address" "${options[@]}" ./held > first 2>&1 &
driver=$!
processes+=("$driver")
await eval '[[ -e waiting ]] && (($(wc -l < waiting) == 3))'
run 2 "another run is converting into it" "${options[@]}" "$recordcsv"
finished=$(find out -name 'part-*.json' | wc -l)
((finished > 0)) || fail "no part was done before the worker died"
worker=$(tail -n 1 waiting)
kill -9 "$worker"
wait "$worker" 2> /dev/null || true
touch go_on
wait "$driver" || fail "without the worker: $(tail -n 3 first)"
grep -q '^40 of 40 parts, [0-9]* rows/s$' first || fail "no progress: $(cat first)"
(($(wc -l < begun) > 40)) || fail "no part was begun twice"
joined_is_single out
echo "a worker died when $finished of 40 parts were done; $(wc -l < begun) runs of recordcsv made them all"

cp begun begun_before
run 0 "0 of 40 parts converted in this run; 19999 rows, 0 set aside" "${options[@]}" ./held
cmp begun begun_before || fail "parts were converted a second time"
rm out/part-07.csv
truncate -s -1 out/part-12.csv
run 0 "2 of 40 parts converted" "${options[@]}" "$recordcsv"
joined_is_single out

# Parts of different conversions do not come together.
cp -p records.bin same.bin
cp -p cities.layout other.layout
echo '# changed' >> other.layout
echo 'n Long' > wrong.layout
while IFS='|' read -r message arguments; do
    run 2 "$message" --recordcsv "$recordcsv" $arguments
done << 'TABLE'
rows_per_part was 500, is 501|--rows-per-part 501 cities.layout records.bin out
rejects was False, is True|--rows-per-part 500 --rejects cities.layout records.bin out
layout_sha256 was|--rows-per-part 500 other.layout records.bin out
same.bin|--rows-per-part 500 cities.layout same.bin out
has files in it|--rows-per-part 500 cities.layout records.bin .
--rows-per-part has to be|--rows-per-part 0 cities.layout records.bin other
No such file|--rows-per-part 500 cities.layout missing.bin other
unknown type "Long"|--rows-per-part 500 wrong.layout records.bin other
TABLE
touch records.bin
run 2 "records_mtime_ns was" "${options[@]}" "$recordcsv"

"$random_records" cities.layout 2 2000 hostile > hostile.bin
printf 'cut off' >> hostile.bin
"$recordcsv" to-csv cities.layout hostile.bin single.csv --rejects single.rejects 2> /dev/null || (($? == 1))
run 3 "recordcsv ended with 3: " --rows-per-part 300 cities.layout hostile.bin stopped --recordcsv "$recordcsv"
[[ ! -e stopped/manifest.json ]] || fail "a manifest without all parts"
run 1 "7 of 7 parts" --rows-per-part 300 --rejects cities.layout hostile.bin rejected --recordcsv "$recordcsv"
joined_is_single rejected
cat rejected/part-*.rejects | cmp - single.rejects || fail "other rows were set aside"

# The commands of the documentation, with smaller parts
documented() {
    sed -n "/^## $1/,\$p" "$repository/docs/scaling.md" | sed -n '/^```sh$/,/^```$/p' | sed '1d; /^```$/,$d'
}
mkdir parallel slurm
PATH=$(dirname "$recordcsv"):$PATH
export n=3000
for directory in parallel slurm; do cp cities.layout records.bin $directory; done
(cd parallel && eval "$(documented "GNU parallel")")
documented "Slurm job array" > array
for SLURM_ARRAY_TASK_ID in {0..6}; do (cd slurm && export SLURM_ARRAY_TASK_ID && bash -eu ../array); done
(cd slurm && ls -v part-*.csv | xargs cat > cities.csv)
"$recordcsv" to-csv cities.layout records.bin single.csv
for directory in parallel slurm; do cmp $directory/cities.csv single.csv || fail "$directory differs from a single run"; done

echo "scale: all tests passed"
