#!/usr/bin/env bash
# End-to-end test of recordcsv: test.sh RECORDCSV SAMPLE_DIRECTORY
set -u
recordcsv=$(realpath "$1")
sample=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0

fail() {
    echo "FAIL $name: $*"
    failures=$((failures + 1))
}

# run STATUS ARGUMENTS...: recordcsv must end with the status; its messages go to the file err.
run() {
    local expected=$1 status
    shift
    "$recordcsv" "$@" 2> err
    status=$?
    [[ $status == "$expected" ]] || fail "$* ended with $status, not $expected: $(head -c 500 err)"
}

says() {
    grep -qF -- "$1" err || fail "expected \"$1\", got: $(head -c 500 err)"
}

same() {
    cmp -s "$1" "$2" || fail "$1 and $2 differ"
}

name="sample there and back"
run 0 from-csv "$sample/cities.layout" "$sample/cities.csv" cities.bin
run 0 to-csv "$sample/cities.layout" cities.bin cities.csv
same cities.csv "$sample/cities.csv"

name="standard input and output"
run 0 from-csv "$sample/cities.layout" < "$sample/cities.csv" > piped.bin
same piped.bin cities.bin
run 0 to-csv "$sample/cities.layout" - - < cities.bin > piped.csv
same piped.csv cities.csv

name="CSV with quotes, CRLF and a byte order mark"
printf 'a Varchar(20)\nb Char(4)\n' > quotes.layout
printf '\xEF\xBB\xBFa,b\r\n"say ""x"", y",1\r\n"two\nlines", z\r\n\r\n  kept  ,' > foreign.csv
printf 'a,b\n"say ""x"", y",1\n"two\nlines"," z"\n"  kept  ",\n' > expected.csv
run 0 from-csv quotes.layout foreign.csv quotes.bin
run 0 to-csv quotes.layout quotes.bin quotes.csv
same quotes.csv expected.csv

ts='ZEMTTS "%YYYY-%MM-%DD %HH24:%MI:%SS.%FFFFFF"'
date='ZEMTDate "on %DD %MONTH %YYYY."'
time='ZEMTTime "%HH24:%MI:%SS"'

# Fields that are taken, and how they come back: type, field, expected field
while IFS='|' read -r type field expected; do
    name="$type takes '$field'"
    printf 'v %s\n' "$type" > one.layout
    printf 'v\n"%s"\n' "$field" > one.csv
    run 0 from-csv one.layout one.csv one.bin
    run 0 to-csv one.layout one.bin back.csv
    [[ $(tail -n +2 back.csv | tr -d '"') == "$expected" ]] || fail "came back as: $(tail -n +2 back.csv)"
done << TABLE
TinyInt|-128|-128
TinyInt|0|0
TinyInt||0
SmallInt|0032767|32767
Int|-0|0
Int|-2147483648|-2147483648
LongLong|9223372036854775807|9223372036854775807
Char(6)|abc  |abc
Char(3)||
Char(3)|äb|äb
WChar(3)|日本語|日本語
WChar(2)||
Varchar(4)|😀|😀
Varchar(4)||
VarcharSz(3)|abc|abc
WVarchar(1)|😀|😀
WVarchar(2)||
WVarcharSz(3)|é ü|é ü
WVarcharSz(3)||
$ts||
$ts|2024-02-29 23:59:59.999999|2024-02-29 23:59:59.999999
$ts|2024-02-29|2024-02-29 00:00:00.000000
$date||
$date|on 01 january 0001.|on 01 January 0001
$time|00:00:00|00:00:00
$time|23:59|23:59:00
TABLE

# Fields that are refused: type, field in printf's notation, message
while IFS='|' read -r type field message; do
    name="$type refuses '$field'"
    printf 'v %s\n' "$type" > one.layout
    printf 'v\n"%b"\n' "$field" > one.csv
    run 1 from-csv one.layout one.csv one.bin
    says "row 1, column v: "
    says "$message"
    [[ -s one.bin ]] && fail "the record was written"
done << TABLE
Int|12x|status -1, not a value of this type and format
Int|-|"-" would be stored as "0"
Int|7\0|"7?" would be stored as "7"
TinyInt|128|"128" would be stored as "-128"
SmallInt|-32769|"-32769" would be stored as "32767"
Int|4294967296|"4294967296" would be stored as "0"
LongLong|9223372036854775808|"9223372036854775808" would be stored as "-9223372036854775808"
Char(3)|abcd|status 28, no room for the text
Varchar(3)|😀|status 28, no room for the text
VarcharSz(3)|abcd|status 28, no room for the text
WChar(2)|日本語|"日本語" would be stored as "日本"
WVarchar(2)|日本語|"日本語" would be stored as "日本"
WVarcharSz(2)|日本語|"日本語" would be stored as "日本"
Varchar(9)|\\xC3(|(" is not UTF-8 text
Varchar(9)|a\\xC3(b|(b" would be stored as "a"
WVarchar(9)|a\\xC3|status 28, no room for the text, or UTF-8 cut off inside a character
WVarchar(9)|a\\0b|"a?b" would be stored as "a"
VarcharSz(9)|\\xEF\\xBF\\xBD|"�" would be stored as "?"
$ts|2024-13-01|status 56, month outside 1..12
$ts|2024-02-30|status 55, day outside its month
$ts|0000-01-01|status 54, year outside 1..9999
$ts|2024-01-01 24:00:00|status 57, hour above 23
$ts|2024-01-01 00:60:00|status 58, minute above 59
$ts|2024-01-01 00:00:60|status 59, second above 59
$ts|2024-01-01 00:00:00.5|"2024-01-01 00:00:00.5" would be stored as "2024-01-01 00:00:00.000005"
$ts|2024-01-01 00:00:00.1234567|"2024-01-01 00:00:00.1234567" would be stored as
$ts|2024-1-1|status
$date|on 01 Janvier 2024|status -1
$date|so on 01 May 2024|"so on 01 May 2024" would be stored as "on 01 May 2024"
$date|on 01 May 2024. Or so|"on 01 May 2024. Or so" would be stored as "on 01 May 2024"
$time||status 30, empty
$time|12:30:15pm|"12:30:15pm" would be stored as "12:30:15"
TABLE

# Slots that are refused: type, slot in printf's notation, message
while IFS='|' read -r type slot message; do
    name="$type refuses slot '$slot'"
    printf 'v %s\n' "$type" > one.layout
    printf '%b' "$slot" > one.bin
    run 1 to-csv one.layout one.bin one.csv --rejects rejects.bin
    says "row 1, column v: $message"
    same rejects.bin one.bin
    [[ $(< one.csv) == v ]] || fail "a row was written: $(< one.csv)"
done << 'TABLE'
Varchar(2)|\xFF\xFFab|length prefix -1 outside 0..2
Varchar(2)|\x03\x00ab|length prefix 3 outside 0..2
Varchar(2)|\xFF\x7Fab|length prefix 32767 outside 0..2
WVarchar(1)|\x08\x00a\0\0\0|length prefix 8 outside 0..4
WVarchar(1)|\x03\x00a\0\0\0|length prefix 3 ends inside a character
VarcharSz(2)|abc|no terminator within 3 bytes
WVarcharSz(1)|a\0\0\0b\0\0\0|no terminator within 8 bytes
WVarcharSz(1)|\0\0\0\x80\0\0\0\0|status 22, a character that UTF-8 cannot carry
Char(3)|a\0b|not all of the value can be written as text, only "a"
Char(3)|a\xE4b|status 28
Varchar(3)|\x02\0a\xFFb|not all of the value can be written as text
WChar(2)|\xFD\xFF\0\0a\0\0\0|not all of the value can be written as text
ZEMTTS "%YY-%MM-%DD %HH24:%MI:%SS.%FFFFFF"|\xE8\x07\x03\0\x05\0\x0D\0\x07\0\x09\0\x7B\0\0\0\0\0\0\0\0\0\0\0|not all of the value can be written as text, only "24-03-05 13:07:09.000123"
ZEMTTS "%YYYY-%MM-%DD %HH:%MI:%SS.%FFFFFF %PM"|\xE8\x07\x03\0\x05\0\x0D\0\x07\0\x09\0\x7B\0\0\0\0\0\0\0\0\0\0\0|not all of the value can be written as text, only "2024-03-05 01:07:09.000123"
ZEMTTS "%YYYY-%MM-%DD"|\xE8\x07\x03\0\x05\0\x0D\0\x07\0\x09\0\x7B\0\0\0\0\0\0\0\0\0\0\0|not all of the value can be written as text, only "2024-03-05"
ZEMTDate "%D.%M.%YYYY"|\xE8\x07\x03\0\x05\0\0\0\0\0\0\0\0\0\0\0|"5.3.2024" cannot be read back: status -1
TABLE

name="rows around failing ones"
printf 'n Int\nd %s\n' "$date" > rows.layout
printf 'n,d\n1,on 05 May 2025\n2,"on 06 Mai 2025"\n"3\n4",\nx,on 08 May\n5\n6,"a"b\n7,\n' > rows.csv
printf 'n,d\n2,"on 06 Mai 2025"\n"3\n4",\nx,on 08 May\n5\n6,"a"b\n' > expected.csv
run 1 from-csv rows.layout rows.csv rows.bin --rejects rejects.csv
same rejects.csv expected.csv
cat > expected.err << 'END'
row 2, column d: status -1, not a value of this type and format
row 3, column n: status -1, not a value of this type and format
row 4, column n: status -1, not a value of this type and format
row 4, column d: status 54, year outside 1..9999
row 5: 1 fields for 2 columns
row 6: not CSV, error parsing data while strict checking enabled
5 of 7 rows rejected
END
same err expected.err
run 0 to-csv rows.layout rows.bin rows.csv
printf 'n,d\n1,on 05 May 2025\n7,\n' > expected.csv
same rows.csv expected.csv
name="stop at the first failure"
run 1 from-csv rows.layout rejects.csv /dev/null
[[ $(grep -c '^row' err) == 1 ]] || fail "went on: $(cat err)"
name="incomplete record"
printf 'cut off' >> rows.bin
run 1 to-csv rows.layout rows.bin rows.csv --rejects rejects.bin
says "row 3: incomplete record, 7 of 20 bytes"
[[ $(< rejects.bin) == "cut off" ]] || fail "the rest is not among the rejects"
same rows.csv expected.csv

name="layouts, arguments and files that cannot be used"
while IFS='|' read -r line message; do
    printf '# comment\n\nn Int\n%s\n' "$line" > wrong.layout
    rm -f untouched
    run 2 to-csv wrong.layout /dev/null untouched
    says "wrong.layout:4: $message"
    [[ -e untouched ]] && fail "output opened"
done << 'TABLE'
v|column "v" has no type
v Varchr(5)|unknown type "Varchr(5)"
v Varchar|"Varchar" has no length
v Varchar(0)|Varchar takes a length of 1..32767
v WVarchar(8192)|WVarchar takes a length of 1..8191
v Char(5x)|Char takes a length
v Char(99999999999)|Char takes a length
v Int(4)|Int takes no length
v Int "%YYYY"|unexpected "%YYYY"
n Int|a second column "n"
v ZEMTDate|ZEMTDate needs a format in quotes
v ZEMTDate "%YYYY|a closing quote is missing
v ZEMTDate "%QQ"|format "%QQ": status 67
v ZEMTDate "%HH24"|format "%HH24" does not suit ZEMTDate
v ZEMTTime "%SS.%FF"|format "%SS.%FF" does not suit ZEMTTime
v ZEMTTS "now"|format "now" does not suit ZEMTTS
v ZEMTTS "%YYYY� %MM"|format "%YYYY
TABLE
name="byte order mark"
printf '\xEF\xBB\xBFv Int\n' > marked.layout
printf 'v\n7\n' > marked.csv
run 0 from-csv marked.layout marked.csv marked.bin
run 0 to-csv marked.layout marked.bin back.csv
same back.csv marked.csv

name="files"
run 2 to-csv absent.layout && says "absent.layout: No such file"
run 2 to-csv /dev/null && says "/dev/null: no columns"
run 2 to-csv rows.layout absent.bin && says "absent.bin: No such file"
run 2 to-csv rows.layout . /dev/null && says "Is a directory"
run 2 to-csv rows.layout rows.bin rows.bin && says "rows.bin: named twice"
run 2 to-csv rows.layout rows.bin - --rejects - && says "-: named twice"
run 2 sideways rows.layout
run 2 from-csv rows.layout /dev/null && says "no header row"
run 2 from-csv "$sample/cities.layout" rows.csv && says "header row: 2 names for 14 columns"
run 2 from-csv one.layout <(printf 'w\n') && says 'header row: "w" where the layout has "v"'
{ printf 'n,d\n"' && head -c 17000000 /dev/zero; } > long.csv
run 2 from-csv rows.layout long.csv /dev/null && says "a row is too long"
run 2 to-csv "$sample/cities.layout" cities.bin /dev/full && says "No space left on device"
run 2 from-csv rows.layout rows.csv /dev/full && says "No space left on device"

name="progress"
head -c 5000000 /dev/zero > zeros.bin
printf 'n Int\n' > zeros.layout
run 0 to-csv zeros.layout zeros.bin zeros.csv
[[ -s err ]] && fail "shown without a terminal"
if script -qec true /dev/null > /dev/null 2>&1 < /dev/null; then
    script -qec "'$recordcsv' to-csv zeros.layout zeros.bin zeros.csv" /dev/null > terminal < /dev/null
    grep -qF '[=' terminal || fail "not shown on a terminal"
else
    echo "skipped: the progress bar, as there are no pseudoterminals here"
fi
[[ $(wc -l < zeros.csv) == 1250001 ]] || fail "$(wc -l < zeros.csv) rows"

# Random bytes in every type: no record is lost, and what was taken comes back.
LC_ALL=C awk 'BEGIN { srand(7); for (i = 0; i < 72000; ++i) printf "%c", int(rand() ^ 6 * 256) }' > random.bin
while IFS='|' read -r size type; do
    name="random bytes, $type"
    printf 'v %s\n' "$type" > random.layout
    [[ $type == all ]] && cp "$sample/cities.layout" random.layout
    "$recordcsv" to-csv random.layout random.bin random.csv --rejects rejects.bin 2> err
    (($? <= 1)) || fail "$(head -c 500 err)"
    "$recordcsv" from-csv random.layout random.csv back.bin --rejects rejects.csv 2> err
    (($? <= 1)) || fail "$(head -c 500 err)"
    rejected=$(tail -n +2 rejects.csv | wc -l) # none of them but dates and times
    (($(stat -c %s back.bin) + $(stat -c %s rejects.bin) + rejected * size == 72000)) || fail "records lost"
    [[ $type == ZEMT* || ! -s rejects.csv ]] || fail "written and not taken: $(head -n 3 rejects.csv)"
    run 0 to-csv random.layout back.bin back.csv
    [[ -s rejects.csv ]] || same back.csv random.csv
done << TABLE
3|Char(3)
11|Varchar(9)
6|VarcharSz(5)
4|WChar(1)
10|WVarchar(2)
8|WVarcharSz(1)
1|TinyInt
2|SmallInt
4|Int
8|LongLong
24|$ts
16|$date
16|$time
370|all
TABLE

((failures == 0)) && echo "recordcsv: all tests passed"
exit $((failures != 0))
