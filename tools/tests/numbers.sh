# Offsets and lengths are decimal or 0x hexadecimal; a leading zero is not octal.
source "$(dirname "$0")/lib.sh"

make_demo
expect_status 0 dump "$mesh" 0 --offset 0010 --length 1
expect_line "$out" "0000000a: "
expect_status 0 dump "$mesh" 0 --offset 08 --length 1
expect_line "$out" "00000008: "
expect_status 0 dump "$mesh" 0 --offset 0x10 --length 0X2
expect_line "$out" "00000010: "
[ "$(wc -l <"$out")" -eq 1 ] || fail "--length 0X2 dumps one line"
expect_status 2 dump "$mesh" 0 --offset 0x
expect_line "$err" "'0x' is not a whole number of bytes"
expect_status 2 dump "$mesh" 0 --length -3
expect_status 2 dump "$mesh" 0 --offset 0x10000000000000000
