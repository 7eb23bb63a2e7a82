# check counts a shortfall of one byte in the singular, and a pool whose
# stored length runs past the end of the file (which ls lists) as a pool.
source "$(dirname "$0")/lib.sh"

make_demo
head -c $(($(pool_field "$mesh" 1 location) - 1)) "$mesh" >"$work/cut.sim"
expect_status 1 check "$work/cut.sim"
expect_line "$out" "cut.sim: pool 0 at offset 0: stored length $(pool_field "$mesh" 1 location) passes the end of the file by 1 byte: the chain"
expect_line "$out" "check: 1 file, 1 pool: "
expect_status 0 ls "$work/cut.sim"

# The last of two pools claims more bytes than the file holds: both count.
start=$(pool_field "$results" 1 location)
head -c $((start + 200)) "$results" >"$work/two.sim"
overwrite "$work/two.sim" $((start + 20)) 0000000000004000
expect_status 1 check "$work/two.sim"
expect_line "$out" "two.sim: pool 1 at offset $start: stored length 4000 passes the end of the file by 3800 bytes"
expect_line "$out" "check: 1 file, 2 pools: "
