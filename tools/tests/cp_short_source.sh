# cp from a source whose pool ends early names the source, and leaves no target.
source "$(dirname "$0")/lib.sh"

make_demo
head -c $(($(pool_field "$mesh" 1 location) - 1)) "$mesh" >"$work/cut.sim"
expect_status 2 cp "$work/cut.sim" 0 "$work/new.sim"
expect_line "$err" "kvtsim-pool cp: $work/cut.sim: KVTSimExcShortPool"
[ ! -e "$work/new.sim" ] || fail "a failed cp leaves no new target"
cp "$results" "$work/old.sim"
expect_status 2 cp "$work/cut.sim" 0 "$work/old.sim"
expect_line "$err" "kvtsim-pool cp: $work/cut.sim: KVTSimExcShortPool"
