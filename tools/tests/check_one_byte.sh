# check counts a shortfall of one byte in the singular.
source "$(dirname "$0")/lib.sh"

make_demo
head -c $(($(pool_field "$mesh" 1 location) - 1)) "$mesh" >"$work/cut.sim"
expect_status 1 check "$work/cut.sim"
expect_line "$out" "cut.sim: pool 0 at offset 0: stored length $(pool_field "$mesh" 1 location) passes the end of the file by 1 byte: the chain"
