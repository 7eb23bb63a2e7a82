# recover keeps every whole pool of a damaged file, says what it dropped,
# never overwrites without --in-place, saves what it cuts, and check points
# to it.
source "$(dirname "$0")/lib.sh"

make_demo
size=$(stat -c %s "$results")
first=$(pool_field "$results" 1 location)
entries=$(pool_field "$results" 1 entries)

# The demo's results file cut anywhere inside its second pool's header or
# directory: the loader refuses it, check suggests recover, and recover keeps
# the first pool.
for cut in $(seq $((first + 2)) 37 $((first + 48 + 32 * entries - 1))); do
  head -c "$cut" "$results" >"$work/cut.sim"
  expect_out 1 check "$work/cut.sim" "hint: $work/cut.sim: 'kvtsim-pool recover $work/cut.sim -o OUT'"
  rm -f "$work/cut-out.sim"
  expect_out 1 recover "$work/cut.sim" -o "$work/cut-out.sim" "kept: 1 pool, $first of $cut bytes"
  expect_line "$out" "dropped: $((cut - first)) bytes from offset $first (pool 1 on): KVTSimExcCorrupt"
  expect_line "$out" "written: $work/cut-out.sim (synced)"
  cmp -n "$first" "$results" "$work/cut-out.sim" || fail "the kept pool differs"
  expect_status 0 check "$mesh" "$work/cut-out.sim"
done

# A whole file: nothing dropped; -o writes the same bytes, --in-place nothing.
expect_out 0 recover "$results" -o "$work/same.sim" "dropped: nothing"
cmp "$results" "$work/same.sim" || fail "a whole file was not copied as it is"
expect_out 0 recover "$results" --in-place "unchanged: $results needs no recovery"
[ ! -e "$results.tail" ] || fail "a tail file for a whole file"

# Never overwrites: an existing OUT, the file itself, an existing tail file.
head -c $((first + 20)) "$results" >"$work/torn.sim"
cp "$work/torn.sim" "$work/torn.orig"
expect_err 2 recover "$work/torn.sim" -o "$work/same.sim" "$work/same.sim: KVTSimUttOSError: create: File exists"
cmp "$results" "$work/same.sim" || fail "an existing OUT was changed"
expect_status 2 recover "$work/torn.sim" -o "$work/torn.sim"
echo "earlier" >"$work/torn.sim.tail"
expect_err 2 recover "$work/torn.sim" --in-place "$work/torn.sim.tail: KVTSimUttOSError: create: File exists"
cmp "$work/torn.sim" "$work/torn.orig" || fail "the file changed although its tail could not be saved"
[ "$(cat "$work/torn.sim.tail")" = earlier ] || fail "an existing tail file was overwritten"
rm "$work/torn.sim.tail"

# In place: the cut bytes go to FILE.tail first.
expect_out 1 recover "$work/torn.sim" --in-place "saved: the 20 bytes dropped to $work/torn.sim.tail"
expect_line "$out" "recovered in place: $work/torn.sim (synced)"
cmp "$work/torn.sim" "$work/cut-out.sim" || fail "recovered in place differs from -o"
tail -c 20 "$work/torn.orig" | cmp - "$work/torn.sim.tail" || fail "the tail file lacks the cut bytes"
expect_status 0 recover "$work/torn.sim" --in-place

# A pool stored open ahead of another: closed up, nothing dropped.
patched "$results" "$work/open.sim" 20 "0000000000000000"
expect_out 1 check "$mesh" "$work/open.sim" "stored open, yet a pool header lies inside it"
expect_line "$out" "keeping 2 pools ($size bytes), 1 pool closed up"
expect_out 0 recover "$work/open.sim" -o "$work/closed.sim" "rewritten: pool 0 at offset 0: stored open, now length $first"
cmp "$results" "$work/closed.sim" || fail "the closed-up file differs from the original"

# Nothing to keep, usage errors.
head -c 300 /dev/zero >"$work/zeros.sim"
expect_out 2 recover --sig USR1 "$work/zeros.sim" -o "$work/nothing.sim" "dropped: 300 bytes from offset 0 (pool 0 on): KVTSimExcNotSimFile"
[ ! -e "$work/nothing.sim" ] || fail "a file was written although nothing could be kept"
expect_err 2 recover "$results" "give -o OUT for a new file or --in-place"
expect_status 2 recover "$results" -o "$work/x.sim" --in-place

# In place takes the writer lock: refused while another process holds a
# lock on the file, unless --no-lock.
cp "$work/torn.orig" "$work/held.sim"
python3 -c '
import fcntl, sys, time
f = open(sys.argv[1], "r+b")
fcntl.lockf(f, fcntl.LOCK_EX | fcntl.LOCK_NB)
open(sys.argv[2], "w").close()
time.sleep(60)' "$work/held.sim" "$work/held.ready" &
holder=$!
for _ in $(seq 100); do [ -e "$work/held.ready" ] && break; sleep 0.1; done
[ -e "$work/held.ready" ] || fail "the lock holder did not start"
expect_err 2 recover "$work/held.sim" --in-place "$work/held.sim: KVTSimUttOSError: lock: file is locked by another writer"
cmp "$work/held.sim" "$work/torn.orig" || fail "a locked file was changed"
expect_status 1 --no-lock recover "$work/held.sim" --in-place
kill "$holder"
wait "$holder" 2>/dev/null || true

# A file over 64 MiB shows progress on a terminal only.
big_pool "$mesh" "$work/big.sim" torn
expect_status 1 recover "$work/big.sim" -o "$work/big-out.sim"
[ ! -s "$err" ] || fail "progress shown where standard error is not a terminal"
if command -v script >/dev/null; then
  script -qec "'$tool' recover '$work/big.sim' -o '$work/big-tty.sim'" /dev/null </dev/null >"$out" ||
    true
  expect_line "$out" "copied 65.0 MiB in "
  cmp "$work/big-out.sim" "$work/big-tty.sim" || fail "recovery shown with progress differs"
fi
