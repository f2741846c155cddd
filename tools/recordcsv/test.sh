#!/usr/bin/env bash
# End-to-end test of recordcsv: test.sh RECORDCSV RANDOM_RECORDS SAMPLE_DIRECTORY
set -u
recordcsv=$(realpath "$1")
random_records=$(realpath "$2")
sample=$(realpath "$3")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0
printf 'n Int\n' > zeros.layout
head -c 5000000 /dev/zero > zeros.bin

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

digits39=123456789012345678901234567890123456789
digits40=${digits39}0
zeros=$(printf '%0130d' 0)

# holds FILE HEX: the file's bytes; zeros at its end need not be named.
holds() {
    local bytes
    bytes=$(od -A n -t x1 -v "$1" | tr -d ' \n')
    [[ $bytes =~ ^$2(00)*$ ]] || fail "$1 holds $bytes, not $2"
}

# field_is FILE FIELD: the file's one field, blanks and all, but without quotes.
field_is() {
    [[ $(tail -n +2 "$1" | tr -d '"') == "$2" ]] || fail "the field is $(tail -n +2 "$1")"
}

# Fields that are taken, and how they come back: type, field, expected field and, where it matters, expected slot
while IFS='|' read -r type field expected slot; do
    name="$type takes '$field'"
    printf 'v %s\n' "$type" > one.layout
    printf 'v\n"%s"\n' "$field" > one.csv
    run 0 from-csv one.layout one.csv one.bin
    [[ -z $slot ]] || holds one.bin "$slot"
    run 0 to-csv one.layout one.bin back.csv
    field_is back.csv "$expected"
done << TABLE
TinyInt|-128|-128
TinyInt|0|0
TinyInt||0
SmallInt|0032767|32767
Int|-0|0
Int|-2147483648|-2147483648
Int|0.0|0
Int|-0.00|0
LongLong|9223372036854775807|9223372036854775807
TinyUInt|255|255|ff
TinyUInt||0
SmallUInt|65535|65535|ffff
SmallUInt|00|0
UInt|4294967295|4294967295|ffffffff
UInt|0e0|0
ULONGLONG|18446744073709551615|18446744073709551615|ffffffffffffffff
ULONGLONG|0.00|0
Dbl|12.3|12.3|9a99999999992840
Dbl|1.23e1|12.3|9a99999999992840
Dbl|-00.5|-0.5|000000000000e0bf
Dbl|-.5E+0|-0.5|000000000000e0bf
Dbl|0.1|0.1|9a9999999999b93f
Dbl|5e-324|5e-324|01
Dbl|1.7976931348623157E+308|1.7976931348623157e+308|ffffffffffffef7f
Dbl|0e7|0|00
Dbl||0|00
Dbl|-0.0|-0|0000000000000080
Flt|0.1|0.1|cdcccc3d
Flt|1000.0001|1000.0001|02007a44
Flt|1000.00006|1000.00006|01007a44
Flt|3.4028235e38|3.4028235e+38|ffff7f7f
Flt|1e-45|1e-45|01
Flt||0|00
Flt|-0|-0|00000080
DecKest(5)|12345|12345|12345c
DecKest(5)|007|7|00007c
DecKest(5)||0|00000c
DecKest(5)|0.0|0|00000c
DecKest(4)|1234|1234|01234c
DecKest(0)||0|0c
DecKest(31)|${digits39:0:31}|${digits39:0:31}|${digits39:0:31}c
DecKest(38)|${digits39:0:38}|${digits39:0:38}|0${digits39:0:38}c
DecKest(301)|9$zeros$zeros$digits40|9$zeros$zeros$digits40
DecKest(5)|-12|-12|00012d
DecKest(4)|-0|-0|00000d
DecKest(9,2)|1.5|1.50|000000150c
DecKest(9,2)|-1234567.89|-1234567.89|123456789d
DecKest(9,2)|-.05|-0.05|000000005d
DecKest(9,2)||0.00|000000000c
DecKest(3,3)|.125|0.125|125c
DecKest(3,0)|125|125|125c
OraVarnum|-1|-1|033e6466
OraVarnum|-12.5|-12.50|043e593366
OraVarnum|-0|0|0180
OraVarnum|-${digits40/7/.7}|-${digits40/7/.7}
OraVarnum|||00
OraVarnum|0|0|0180
OraVarnum|0.00|0|0180
OraVarnum|1.5|1.50|03c10233
OraVarnum|01.50|1.50|03c10233
OraVarnum|0.05|.05|02c006
OraVarnum|5.|5|02c106
OraVarnum|100|100|02c202
OraVarnum|${digits40/7/.7}|${digits40/7/.7}
OraVarnum|1${zeros:5}|1${zeros:5}|02ff0b
OraVarnum|.${zeros:1}1|.${zeros:1}1|028002
OraVarnum|-.${zeros:1}1|-.${zeros:1}1|037f6466
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
Char(4) Encoding ISO-8859-1|äö|äö|e4f62020
Varchar(4) Encoding IBM037|A1|A1|0200c1f1
Char(4) Encoding IBM037 Trim|  A |A|c1404040
VarcharSz(2) Encoding ISO-8859-15|€|€|a4
Char(4) Trim|  a b  |a b|61206220
Char(2) Trim|     ||2020
Varchar(3) Trim|  a b|a b|0300612062
VarcharSz(2) Trim| ä  |ä|c3a4
WChar(2) Trim| 日 |日|e565000020000000
WVarchar(1) Trim|   日|日|0400e5650000
WVarcharSz(1) Trim| 日  |日|e5650000
WVarcharSz(1) Trim||
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
    rm -f one.bin
    run 3 from-csv one.layout one.csv one.bin
    says "one.csv:2: row 1, column v: "
    says "$message"
    says "; expected "
    [[ -e one.bin ]] && fail "the record was written"
done << TABLE
Int|12x|status -1, not a value of this type and format
Int|-|"-" would be stored as "0"
Int|7\0|"7?" would be stored as "7"
TinyInt|128|"128" would be stored as "-128"
SmallInt|-32769|"-32769" would be stored as "32767"
Int|4294967296|"4294967296" would be stored as "0"
LongLong|9223372036854775808|"9223372036854775808" would be stored as "-9223372036854775808"
Int|0.5|status -1
Int|0x0|status -1
TinyUInt|256|"256" would be stored as "0"
TinyUInt|-1|status -1
SmallUInt|65537|"65537" would be stored as "1"
UInt|4294967296|"4294967296" would be stored as "0"
ULONGLONG|18446744073709551616|"18446744073709551616" would be stored as "0"
Dbl|12abc|"12abc" would be stored as "12"
Dbl|0x10|"0x10" would be stored as "16"
Dbl| 1|" 1" would be stored as "1"
Dbl|1,5|"1,5" would be stored as "1"
Dbl|1e|"1e" would be stored as "1"
Dbl|5\0|"5?" would be stored as "5"
Dbl|inf|status -1
Dbl|nan|status -1
Dbl|.|status -1
Dbl|-|status -1
Dbl|0x0|status -1
Dbl|0abc|status -1
Dbl|1e309|status -1
Dbl|-1e-400|status -1
Flt|12 |"12 " would be stored as "12"
Flt|1e39|status -1
Flt|1e-46|status -1
DecKest(3)|1234|more than 3 digits
DecKest(2)|123|more than 2 digits
DecKest(0)|7|more than 0 digits
DecKest(5)|1.5|status -1
DecKest(5)|1 2|"1 2" would be stored as "102"
DecKest(5)|12a|"12a" would be stored as "121"
DecKest(5)|1ı|"1ı" would be stored as "141"
DecKest(9,2)|12345678|more than 7 digits before the point
DecKest(9,2)|1.255|status -1
DecKest(9,2)|1e2|status -1
OraVarnum|--1|status -1
OraVarnum|-|status -1
OraVarnum|1e5|status -1
OraVarnum|1.2.3|status -1
OraVarnum|.|"." would be stored as "0"
OraVarnum|7\0|"7?" would be stored as "7"
OraVarnum|${digits40}1|would be stored as "1234567890
OraVarnum|.0${digits40}1|would be stored as ".0123456789
OraVarnum|1${zeros:4}|status -1
OraVarnum|.${zeros}1|would be stored as "0"
Varchar(2) Trim|  abc |status 28, no room for the text
Char(2) Encoding ISO-8859-1|€|no room for the text, or a character that ISO-8859-1 lacks
Char(2) Encoding ISO-8859-1|abc|no room for the text, or a character that ISO-8859-1 lacks
WVarchar(1) Trim| 日本|"日本" would be stored as "日"
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

# Slots that say the same as others, and how they come back: type, slot in printf's notation, field, expected slot
while IFS='|' read -r type slot field expected; do
    name="$type slot '$slot'"
    printf 'v %s\n' "$type" > one.layout
    printf '%b' "$slot" > one.bin
    run 0 to-csv one.layout one.bin one.csv
    field_is one.csv "$field"
    run 0 from-csv one.layout one.csv back.bin
    holds back.bin "$expected"
done << 'TABLE'
DecKest(3)|\x12\x3F|123|123c
DecKest(2)|\x00\x0F|0|000c
OraVarnum|\x02\xC1\x02\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\xFF|1|02c102
Char(4) Trim|  a |a|61202020
Char(4) Trim|    ||20202020
Varchar(4) Trim|\x04\0 ab |ab|02006162
Varchar(4) Trim|\x03\0    ||00
VarcharSz(4) Trim|  a \0|a|61
WVarchar(2) Trim|\x08\0 \0\0\0\xE4\0\0\0|ä|0400e4
WVarcharSz(2) Trim|\xE4\0\0\0 \0\0\0\0\0\0\0|ä|e4
TABLE

name="decimal numbers of 1 to 40 digits"
printf 'v OraVarnum\n' > digits.layout
{ echo v && for length in {1..40}; do echo "${digits40:0:length}"; done; } > digits.csv
run 0 from-csv digits.layout digits.csv digits.bin
run 0 to-csv digits.layout digits.bin back.csv
same back.csv digits.csv

rest='\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0' # 19 bytes

# Slots that are refused: type, slot in printf's notation, message
while IFS='|' read -r type slot message; do
    name="$type refuses slot '$slot'"
    printf 'v %s\n' "$type" > one.layout
    printf '%b' "$slot" > one.bin
    run 1 to-csv one.layout one.bin one.csv --rejects rejects.bin
    says "row 1, column v: $message"
    same rejects.bin one.bin
    [[ $(< one.csv) == v ]] || fail "a row was written: $(< one.csv)"
done << TABLE
Varchar(2)|\xFF\xFFab|length prefix -1 outside 0..2
Varchar(2)|\x03\x00ab|length prefix 3 outside 0..2
Varchar(2)|\xFF\x7Fab|length prefix 32767 outside 0..2
WVarchar(1)|\x08\x00a\0\0\0|length prefix 8 outside 0..4
WVarchar(1)|\x03\x00a\0\0\0|length prefix 3 ends inside a character
VarcharSz(2)|abc|no terminator within 3 bytes
WVarcharSz(1)|a\0\0\0b\0\0\0|no terminator within 8 bytes
WVarcharSz(1)|\0\xD8\0\0\0\0\0\0|status 22, a character that UTF-8 or UTF-16 cannot carry
WVarcharSz(1)|\0\0\x11\0\0\0\0\0|status 22, a character that UTF-8 or UTF-16 cannot carry
Varchar(4)|\x04\0\xF4\x90\x80\x80|status 22, a character that UTF-8 or UTF-16 cannot carry
Varchar(3)|\x03\0\xED\xA0\x80|status 22, a character that UTF-8 or UTF-16 cannot carry
WVarcharSz(1)|\0\0\0\x80\0\0\0\0|status 22, a character that UTF-8 or UTF-16 cannot carry
Char(3)|a\0b|not all of the value can be written as text, only "a"
Char(3)|a\xE4b|status 28
Varchar(3)|\x02\0a\xFFb|not all of the value can be written as text
WChar(2)|\xFD\xFF\0\0a\0\0\0|not all of the value can be written as text
ZEMTTS "%YY-%MM-%DD %HH24:%MI:%SS.%FFFFFF"|\xE8\x07\x03\0\x05\0\x0D\0\x07\0\x09\0\x7B\0\0\0\0\0\0\0\0\0\0\0|not all of the value can be written as text, only "24-03-05 13:07:09.000123"
ZEMTTS "%YYYY-%MM-%DD %HH:%MI:%SS.%FFFFFF %PM"|\xE8\x07\x03\0\x05\0\x0D\0\x07\0\x09\0\x7B\0\0\0\0\0\0\0\0\0\0\0|not all of the value can be written as text, only "2024-03-05 01:07:09.000123"
ZEMTTS "%YYYY-%MM-%DD"|\xE8\x07\x03\0\x05\0\x0D\0\x07\0\x09\0\x7B\0\0\0\0\0\0\0\0\0\0\0|not all of the value can be written as text, only "2024-03-05"
ZEMTDate "%D.%M.%YYYY"|\xE8\x07\x03\0\x05\0\0\0\0\0\0\0\0\0\0\0|"5.3.2024" cannot be read back: status -1
Varchar(9) Trim|\x04\0 a\0 \0\0\0\0\0|not all of the value can be written as text, only "a"
Dbl|\0\0\0\0\0\0\xF0\x7F|status -1
Dbl|\0\0\0\0\0\0\xF8\xFF|status -1
Flt|\0\0\x80\xFF|status -1
Flt|\xFF\xFF\xFF\x7F|status -1
DecKest(3)|\x12\x3E|not all of the value can be written as text, only "123"
DecKest(3)|\0\0|not all of the value can be written as text, only "0"
DecKest(3)|\x1A\x3C|status -1
DecKest(4)|\xA1\x23\x4C|status -1
DecKest(0)|\x7C|"7" cannot be read back: more than 0 digits
OraVarnum|\x03\x3E\x64$rest|status -1
OraVarnum|\0\0\x01$rest|status -1
OraVarnum|\x01\x81\0$rest|status -1
OraVarnum|\x02\xC1\x65$rest|status -1
OraVarnum|\x16\xC1\x02$rest|status -1
OraVarnum|\xFF\xC1\x02$rest|status -1
OraVarnum|\x03\xC1\x02$rest|status -1
OraVarnum|\x02\xC1\x01$rest|not all of the value can be written as text, only "0"
OraVarnum|\x03\xC1\x02\x01${rest:2}|not all of the value can be written as text, only "1.00"
TABLE

name="rows around failing ones"
printf 'n Int\nd %s\n' "$date" > rows.layout
printf 'n,d\n1,on 05 May 2025\n2,"on 06 Mai 2025"\n"3\n4",\nx,on 08 May\n5\n6,"a"b\n7,\n' > rows.csv
printf 'n,d\n2,"on 06 Mai 2025"\n"3\n4",\nx,on 08 May\n5\n6,"a"b\n' > expected.csv
run 1 from-csv rows.layout rows.csv rows.bin --rejects rejects.csv
same rejects.csv expected.csv
cat > expected.err << 'END'
rows.csv:3: row 2, column d: "on 06 Mai 2025": status -1, not a value of this type and format; expected a valid date as in "on %DD %MONTH %YYYY."
rows.csv:4: row 3, column n: "3?4": status -1, not a value of this type and format; expected an integer of -2147483648..2147483647
rows.csv:6: row 4, column n: "x": status -1, not a value of this type and format; expected an integer of -2147483648..2147483647
rows.csv:6: row 4, column d: "on 08 May": status 54, year outside 1..9999; expected a valid date as in "on %DD %MONTH %YYYY."
rows.csv:7: row 5: 1 fields for 2 columns
rows.csv:8: row 6: not CSV: a character behind a closing quote
5 of 7 rows rejected
END
same err expected.err
run 0 to-csv rows.layout rows.bin rows.csv
printf 'n,d\n1,on 05 May 2025\n7,\n' > expected.csv
same rows.csv expected.csv
name="stop at the first failure"
run 3 from-csv rows.layout rejects.csv /dev/null
[[ $(grep -c ': row' err) == 1 ]] || fail "went on: $(cat err)"
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
v UInt(4)|UInt takes no length
v DecKest|"DecKest" has no precision, as in DecKest(15)
v DecKest(|"DecKest(" has no precision
v DecKest(-1)|DecKest takes a precision of 0..1048576
v DecKest()|DecKest takes a precision of 0..1048576
v Int Trim|unexpected "Trim"
v DecKest(3) Trim|unexpected "Trim"
v Char(5) trim|unexpected "trim"
v Char(5) "Trim"|unexpected "Trim"
v Char(5) Trim Trim|unexpected "Trim"
v ZEMTDate "%YYYY" Trim|unexpected "Trim"
n Int|a second column "n"
"" Int|a column's name has to be text
x�( Int|a column's name has to be text
x Skip(3)|Skip(n) takes no name
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
run 2 from-csv rows.layout <(printf 'n\n') && says 'header row: 1 names, and "d" is missing'
run 2 from-csv one.layout <(printf 'w\n') && says 'header row: "w" is no column of the layout'
run 2 from-csv rows.layout <(printf 'n,d,n\n') && says 'header row: "n" twice'
run 2 from-csv rows.layout - rows.csv < rows.csv && says "rows.csv: named twice"
ln rows.csv other-name.csv
run 2 from-csv rows.layout rows.csv other-name.csv && says "other-name.csv: named twice"
run 4 to-csv "$sample/cities.layout" cities.bin /dev/full && says "No space left on device"
run 4 from-csv rows.layout rows.csv /dev/full && says "No space left on device"

name="nothing half-written"
printf 'kept' > out.csv
printf '\xFF' > cut.bin
run 3 to-csv rows.layout cut.bin out.csv
[[ $(< out.csv) == kept && $(echo .rec*) == '.rec*' ]] || fail "left $(echo .rec*): $(< out.csv)"
run 2 from-csv rows.layout <(printf 'n,e\n') out.csv
[[ $(< out.csv) == kept ]] || fail "emptied before the header was read"
chmod 640 out.csv
: > empty.bin
run 0 to-csv rows.layout empty.bin out.csv
[[ $(< out.csv) == n,d && $(stat -c %a out.csv) == 640 ]] || fail "not replaced, or with other permissions"
(ulimit -f 100 && exec "$recordcsv" to-csv zeros.layout zeros.bin out.csv) 2> err
[[ $? == 4 ]] && says "File too large"
[[ $(< out.csv) == n,d && $(echo .rec*) == '.rec*' ]] || fail "a full disk left $(echo .rec*)"
run 4 from-csv rows.layout <(printf 'n,d\nx,\n') absent.bin --rejects /dev/full
[[ -e absent.bin ]] && fail "in place before the rejects were"
ln -s target link
run 0 to-csv rows.layout empty.bin link
[[ -L link && -f target ]] || fail "a link did not stay one"
run 2 from-csv rows.layout rows.csv new.bin --rejects ./new.bin && says "named twice"
mkfifo fifo
for signal in INT TERM; do
    printf 'kept' > out.csv
    (trap - INT; exec "$recordcsv" from-csv rows.layout fifo out.bin --rejects rejected) 2> err &
    exec 5> fifo
    printf 'n,d\n1,on 05 May 2025\n' >&5
    sleep 0.2
    kill -$signal $!
    wait $!
    status=$?
    exec 5>&-
    [[ $status == $((128 + $(kill -l $signal))) ]] || fail "SIG$signal ended with $status"
    says "interrupted"
    [[ $(echo .rec* out.bin* rejected*) == ".rec* out.bin* rejected*" ]] || fail "SIG$signal left $(echo .rec* out.bin*)"
done
start=$SECONDS
{ printf 'n\nbad\n' && seq 300000 && sleep 9; } | "$recordcsv" from-csv zeros.layout - --jobs 2 > /dev/null 2> err
[[ ${PIPESTATUS[1]} == 3 ]] && ((SECONDS - start < 20)) || fail "waited for input that nobody needs: $(< err)"
"$recordcsv" to-csv zeros.layout /dev/zero 2> err | head -c 1 > /dev/null
[[ ${PIPESTATUS[0]} == 5 ]] || fail "a closed pipe ended with ${PIPESTATUS[0]}"
says "Broken pipe"

name="a quote that nothing closes"
{ printf 'n,d\n1,\n2,"\n' && yes '3,' | head -n 9000000; } > open.csv
run 1 from-csv rows.layout open.csv open.bin --rejects rejects.csv --summary
says '"read": 9000002, "written": 9000001, "rejected": 1'
[[ $(< rejects.csv) == $'n,d\n2,"' ]] || fail "rejects: $(head -c 200 rejects.csv)"
run 1 from-csv rows.layout <(printf 'n,d\n1,\n2,"on') open.bin --rejects rejects.csv
[[ $(< rejects.csv) == $'n,d\n2,"on' && $(stat -c %s open.bin) == 20 ]] || fail "rejects: $(head -c 200 rejects.csv)"
name="a line without an end"
{ printf 'n,d\n1,\n' && head -c 40000000 /dev/zero | tr '\0' x && printf '\n3,\n'; } > long.csv
run 1 from-csv rows.layout long.csv long.bin --rejects rejects.csv
says "a row of more than 16 MiB"
[[ $(stat -c %s long.bin) == 40 && $(stat -c %s rejects.csv) == 40000005 ]] || fail "$(stat -c %s long.bin rejects.csv)"

{ printf 'a,b\n"1",' && head -c 40000000 /dev/zero | tr '\0' 0 && printf '7\n2,3\n'; } > long.csv
printf 'a Int\nb Int\n' > ab.layout
for jobs in 1 5; do
    run 1 from-csv ab.layout long.csv long.bin --rejects rejects.csv --jobs $jobs --summary
    says '"read": 2, "written": 1, "rejected": 1'
    holds long.bin 0200000003000000
    { printf 'a,b\n' && sed -n 2p long.csv; } | cmp -s - rejects.csv || fail "rejects differ"
done
name="a byte order mark that is data"
printf 'v Char(6)\n' > mark.layout
printf '\xEF\xBB\xBFabc' > mark.bin
run 0 to-csv mark.layout mark.bin mark.csv --no-header
run 0 from-csv mark.layout mark.csv back.bin --no-header
same back.bin mark.bin

name="options"
run 0 to-csv --columns n,d rows.layout empty.bin out.csv
run 3 from-csv zeros.layout <(printf 'n\n1\n2\nx\n') out.bin --summary && says '"read": 3, "written": 2, "rejected": 1'
printf 'a Int\nSkip(2)\nb Varchar(3)\nd ZEMTDate "%%DD.%%MM.%%YYYY"\ne DecKest(3,1)\n' > all.layout
printf 'e,d,b,a\n1.5,24.12.2024,x;y,7\n-2,,"q""",8\n0.0,01.02.2003,,9\n' > any.csv
run 0 from-csv all.layout any.csv all.bin
run 0 to-csv all.layout all.bin all.csv
printf 'a,b,d,e\n7,x;y,24.12.2024,1.5\n8,"q""",,-2.0\n9,,01.02.2003,0.0\n' | cmp -s - all.csv || fail "$(< all.csv)"
# lists PRINTF-TEXT ARGUMENTS...: the text is what to-csv makes of all.bin.
lists() {
    local text=$1
    shift
    run 0 to-csv all.layout all.bin listed.csv "$@"
    printf "$text" | cmp -s - listed.csv || fail "$*: $(< listed.csv)"
}
lists 'e,a\n1.5,7\n-2.0,8\n0.0,9\n' --columns e,a
lists '7;"x;y"\n8;"q"""\n9;\n' --columns a,b --delimiter ';' --no-header
lists 'a\tb\n8\t"q"""\n' --columns a,b --delimiter tab --skip 1 --count 1
lists 'd\n24.12.2024\nNULL\n01.02.2003\n' --columns d --null NULL
lists 'd\n24.12.2024\n""\n01.02.2003\n' --columns d
lists 'a\n' --columns a --skip 3
run 0 from-csv all.layout <(printf '8;q\n') part.bin --columns a,b --delimiter ';' --no-header
run 0 to-csv all.layout part.bin part.csv
[[ $(tail -n 1 part.csv) == 8,q,,0.0 ]] || fail "$(< part.csv)"
run 0 from-csv all.layout any.csv part.bin --columns a,e --skip 1 --count 1
run 0 to-csv all.layout part.bin part.csv
[[ $(tail -n +2 part.csv) == 8,,,-2.0 ]] || fail "$(< part.csv)"
run 3 from-csv all.layout any.csv part.bin --null NULL && says 'row 2, column d: "": status 30, empty'
run 0 from-csv all.layout <(sed 's/-2,,/-2,NULL,/' any.csv) null.bin --null NULL
same null.bin all.bin
printf 'c Char(4)\n' > null.layout
printf '\0\0\0\0NULL    ' > null.bin
run 0 to-csv null.layout null.bin null.csv --null NULL
[[ $(< null.csv) == $'c\nNULL\n"NULL"\n""' || $(< null.csv) == $'c\nNULL\n"NULL"\n' ]] || fail "$(< null.csv)"
run 0 from-csv null.layout null.csv back.bin --null NULL
same back.bin null.bin
run 0 from-csv null.layout <(printf 'c\n\na\n') back.bin # a blank line is a row of one column
[[ $(< back.bin) == "    a   " ]] || fail "$(< back.bin)"
run 2 to-csv all.layout all.bin - --columns a,x && says '"x" is no column of the layout'
run 2 to-csv all.layout all.bin - --columns a,a && says '"a" twice'
run 2 to-csv all.layout all.bin - --delimiter '"'
run 2 to-csv all.layout all.bin - --null 'a,b'
printf 'f Dbl\n' > float.layout
printf '\x9a\x99\x99\x99\x99\x99\xb9\x3f' > float.bin
run 0 to-csv float.layout float.bin float.csv --floats scientific
[[ $(tail -n 1 float.csv) == 1.0000000000000001E-01 ]] || fail "$(< float.csv)"
printf 'd DecKest(3)\n' > exact.layout
printf '\x12\x3F' > exact.bin
run 3 to-csv exact.layout exact.bin exact.csv --exact && says 'only "123"'
printf 'Skip(1)\nd DecKest(3)\n' > exact.layout
printf 'x\x12\x3C' > exact.bin
run 3 to-csv exact.layout exact.bin exact.csv --exact && says 'skipped bytes at 0 that are not 0'
run 0 to-csv exact.layout exact.bin exact.csv
"$recordcsv" --version | grep -q '^recordcsv [0-9]' || fail "no version"
"$recordcsv" check all.layout > checked
diff checked - << 'END' > err || fail "$(< err)"
  offset    bytes  type                 column
       0        4  Int                  a
       6        5  Varchar(3)           b
      11       16  ZEMTDate             d
      27        2  DecKest(3,1)         e
               29  a record
END
printf 't ZEMTTime "%%HH:%%MI %%PM"\n' > noon.layout
run 0 to-csv noon.layout /dev/null noon.csv && says 'column t has %HH with %PM'

name="every option is described"
for command in to-csv from-csv; do
    for option in $("$recordcsv" $command --help | grep -oE -- '--[a-z-]+' | grep -v -- '^--help'); do
        for text in recordcsv.1 completion.bash ../../README.md; do
            sed 's/\\-/-/g' "$sample/../$text" | grep -qF -- "$option" || fail "$option is not in $text"
        done
    done
done
COMP_WORDS=(recordcsv to-csv --fl) COMP_CWORD=2
source "$sample/../completion.bash" && _recordcsv
[[ ${COMPREPLY[*]} == --floats ]] || fail "completed as ${COMPREPLY[*]}"

name="rejects, their reasons, and how many"
{ echo n,d && for i in {1..300}; do echo "$((i % 2 ? i : 0))$((i % 2))x,"; done; } > many.csv
run 1 from-csv rows.layout many.csv many.bin --rejects rejects.csv --reject-reasons reasons.csv
[[ $(grep -c ': row' err) == 100 ]] && says "... and 200 more messages" && says "300 of 300 rows rejected"
[[ $(wc -l < reasons.csv) == 301 ]] || fail "$(wc -l < reasons.csv) reasons"
[[ $(sed -n 2p reasons.csv) == '1,2,n,-1,"""11x"": status -1, not a value of this type and format; expected an integer of -2147483648..2147483647"' ]] ||
    fail "$(sed -n 2p reasons.csv)"
same rejects.csv many.csv
run 3 from-csv rows.layout many.csv many.bin --rejects rejects.csv --max-errors 10 && says "stopped behind 11 rows"
[[ $(wc -l < rejects.csv) == 12 ]] || fail "$(wc -l < rejects.csv) rejects"
run 2 from-csv rows.layout many.csv many.bin --max-errors 10

name="threads give what one gives, and parts what the whole gives"
"$random_records" "$sample/cities.layout" 3 30000 hostile > many.bin
"$recordcsv" to-csv "$sample/cities.layout" many.bin one.csv --rejects one.rejects --reject-reasons one.reasons 2> one.err
run 1 to-csv "$sample/cities.layout" many.bin two.csv --rejects two.rejects --reject-reasons two.reasons --jobs 3
same one.csv two.csv && same one.rejects two.rejects && same one.reasons two.reasons && same one.err err
run 0 from-csv "$sample/cities.layout" one.csv one.bin
run 0 from-csv "$sample/cities.layout" one.csv two.bin --jobs 3
same one.bin two.bin
for skip in 0 9000 18000 27000; do
    "$recordcsv" from-csv "$sample/cities.layout" one.csv - --skip $skip --count 9000
done > parts.bin
same parts.bin one.bin

# The promise: records go to CSV and back bit for bit, or are named. Any column type, any bytes.
name="random records there and back"
cat > every.layout << END
$(awk '{ print }' "$sample/cities.layout")
latin1 Char(9) Encoding ISO-8859-1
ebcdic Varchar(9) Encoding IBM037
money DecKest(9,2)
big DecKest(31)
exact OraVarnum
Skip(3)
stamp $ts
clock $time
END
size=$("$recordcsv" check every.layout | awk '/a record/ { print $1 }')
columns=$(($("$recordcsv" check every.layout | wc -l) - 2))
for seed in 1 2; do
    count=$((seed == 1 ? 9000000 / columns : 1000000 / columns))
    "$random_records" every.layout $seed $count $([[ $seed == 2 ]] && echo hostile) > random.bin
    options=(--jobs 2 --exact)
    [[ $seed == 2 ]] && options+=(--delimiter tab --null '\N' --floats scientific)
    "$recordcsv" to-csv every.layout random.bin random.csv --rejects rejects.bin "${options[@]}" 2> err
    (($? <= 1)) || fail "$(head -c 500 err)"
    [[ $seed == 2 ]] && options=(--jobs 2 --exact --delimiter tab --null '\N')
    run 0 from-csv every.layout random.csv back.bin "${options[@]}" --summary
    peak=$(sed -n 's/.*"peak_kib": \([0-9]*\).*/\1/p' err)
    ldd "$recordcsv" | grep -qE 'lib[at]san' || ((peak < 65536)) || fail "$peak KiB for $(stat -c %s random.csv) bytes"
    (($(stat -c %s back.bin) + $(stat -c %s rejects.bin) == size * count)) || fail "records lost"
    if [[ $seed == 1 ]]; then
        same back.bin random.bin
    else # the records that came back and those that were set aside are those that there were
        lines() { od -A n -v -t x1 -w"$size" "$@" | sort; }
        cmp -s <(lines random.bin) <(lines back.bin rejects.bin) || fail "changed"
    fi
    iconv -f UTF-8 -t UTF-8 random.csv > /dev/null || fail "the CSV is not UTF-8"
done

name="progress"
run 0 to-csv zeros.layout zeros.bin zeros.csv
[[ -s err ]] && fail "shown without a terminal"
if script -qec true /dev/null > /dev/null 2>&1 < /dev/null; then
    slowly="(cat zeros.bin; sleep 0.6; cat zeros.bin)"
    script -qec "$slowly | '$recordcsv' to-csv zeros.layout - slow.csv" /dev/null > terminal < /dev/null
    grep -q ' rows, .* MB' terminal || fail "not shown on a terminal"
    grep -q '2500000 rows in' terminal || fail "no summary: $(tail -c 100 terminal)"
    script -qec "$slowly | '$recordcsv' to-csv zeros.layout -" /dev/null < /dev/null | grep -q ' MB' && fail "among the rows"
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
1|TinyUInt
2|SmallUInt
4|UInt
8|ULONGLONG
8|Dbl
4|Flt
2|DecKest(2)
3|DecKest(5)
22|OraVarnum
5|Varchar(3) Trim
10|WVarchar(2) Trim
24|$ts
16|$date
16|$time
429|all
TABLE

((failures == 0)) && echo "recordcsv: all tests passed"
exit $((failures != 0))
