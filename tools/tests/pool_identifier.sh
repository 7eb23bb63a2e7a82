# A pool is named by its identifier in either case; one the file lacks is said so.
source "$(dirname "$0")/lib.sh"

make_demo
id=$(pool_field "$mesh" 1 identifier)
upper=$(printf '%s' "$id" | tr a-f A-F)
expect_status 0 dump "$mesh" "$id" --length 16
cp "$out" "$work/lower"
expect_status 0 dump "$mesh" "$upper" --length 16
cmp -s "$work/lower" "$out" || fail "an upper-case identifier names the same pool"
expect_status 2 dir "$mesh" 0123456789abcdef0123456789abcdef
expect_line "$err" "no pool has identifier 0123456789abcdef0123456789abcdef in this file (2 pools"
expect_status 2 dir "$mesh" nothing
expect_line "$err" "no pool 'nothing': give an index or a 32-character identifier"
