# cp appends pools byte for byte and leaves files alone when it fails.
source "$(dirname "$0")/lib.sh"

make_demo
copy=$work/copy.sim
expect_out 0 cp "$mesh" 0 "$copy" "-> $copy pool 0"
expect_status 0 cp "$mesh" 1 "$copy"
# Both files end with an open pool, so the copy equals its source whole.
cmp "$mesh" "$copy" || fail "two pools copied in order differ from their file"

# A pool stored frozen becomes the open last pool of its new file: only its
# 16 length digits (bytes 20 to 35) differ.
length=$(pool_field "$results" 0 length)
expect_status 0 cp "$results" 0 "$work/one.sim"
[ "$(stat -c %s "$work/one.sim")" -eq "$length" ] || fail "copy has the wrong size"
cmp -n 20 "$results" "$work/one.sim" || fail "header start differs"
cmp -i 36:36 -n $((length - 36)) "$results" "$work/one.sim" || fail "directory or data differ"

# The last pool of results.sim starts after the first: compare the tails.
start=$(pool_field "$results" 1 location)
expect_status 0 cp "$results" "$(pool_field "$results" 1 identifier)" "$work/last.sim"
tail -c +$((start + 1)) "$results" | cmp - "$work/last.sim" || fail "last pool copy differs"

# Refused copies change nothing and create nothing.
expect_err 2 cp "$mesh" 1 "$copy" "$copy: KVTSimExcPoolAlreadyInDoc"
cmp "$mesh" "$copy" || fail "a refused copy changed the target"
expect_err 2 cp "$mesh" 2 "$work/new.sim" "no pool 2: the file has 2 pools"
[ ! -e "$work/new.sim" ] || fail "a refused copy left a file behind"
# From a source whose pool ends early: the source is named, no target made.
head -c $(($(pool_field "$mesh" 1 location) - 1)) "$mesh" >"$work/cut.sim"
expect_err 2 cp "$work/cut.sim" 0 "$work/new.sim" "kvtsim-pool cp: $work/cut.sim: KVTSimExcShortPool"
[ ! -e "$work/new.sim" ] || fail "a failed cp leaves no new target"
cp "$work/one.sim" "$work/old.sim"
expect_err 2 cp "$work/cut.sim" 0 "$work/old.sim" "kvtsim-pool cp: $work/cut.sim: KVTSimExcShortPool"
cmp "$work/one.sim" "$work/old.sim" || fail "a failed cp changed the target"

# A pool over 64 MiB shows progress on a terminal only.
big_pool "$mesh" "$work/big.sim"
expect_status 0 cp "$work/big.sim" 0 "$work/big-copy.sim"
[ ! -s "$err" ] || fail "progress shown where standard error is not a terminal"
if command -v script >/dev/null; then
  script -qec "'$tool' cp '$work/big.sim' 0 '$work/big-tty.sim'" /dev/null </dev/null >"$out" ||
    fail "cp on a terminal"
  expect_line "$out" "copied 65.0 MiB in "
  cmp "$work/big.sim" "$work/big-tty.sim" || fail "copy shown with progress differs"
fi

# A pool naming pools DST lacks: cp warns, naming them; --with-references
# copies them first, each before the pools naming it.
mesh0=$(pool_field "$mesh" 0 identifier)
mesh1=$(pool_field "$mesh" 1 identifier)
step1=$(pool_field "$results" 0 identifier)
all=$work/all.sim  # mesh 0, mesh 1 and results 0, in that order
for args in "$mesh 0" "$mesh 1" "$results 0"; do
  # shellcheck disable=SC2086
  expect_status 0 cp $args "$all"
done
expect_err 0 cp "$all" 2 "$work/alone.sim" "kvtsim-pool cp: warning: $work/alone.sim lacks 2 pools that the copied directory names ($mesh0, $mesh1)"
expect_line "$err" "references into them cannot be followed there; --with-references copies those SRC holds too"
expect_err 0 cp "$all" 1 "$work/refs.sim" "lacks 1 pool that the copied directory names ($mesh0)"
expect_out 0 cp --with-references "$all" "$step1" "$work/refs.sim" "$all pool 0 ($mesh0, "
expect_line "$out" "-> $work/refs.sim pool 1"
expect_line "$out" "$all pool 2 ($step1, "
expect_line "$out" "-> $work/refs.sim pool 2"
[ ! -s "$err" ] || fail "a copy with its references warned"
[ "$(pool_field "$work/refs.sim" 0 identifier)" = "$mesh1" ] &&
  [ "$(pool_field "$work/refs.sim" 1 identifier)" = "$mesh0" ] &&
  [ "$(pool_field "$work/refs.sim" 2 identifier)" = "$step1" ] || fail "wrong pools copied"
expect_status 0 check "$work/refs.sim"
# Nothing to add: the whole chain in one go, pools named before the namer.
expect_status 0 cp --with-references "$all" 2 "$work/chain.sim"
cmp "$all" "$work/chain.sim" || fail "a pool copied with its references differs from its source"
# A pool DST already holds is refused before its references are copied.
cp "$work/chain.sim" "$work/before.sim"
expect_err 2 cp --with-references "$all" 2 "$work/chain.sim" "KVTSimExcPoolAlreadyInDoc"
cmp "$work/before.sim" "$work/chain.sim" || fail "a refused copy changed the target"
