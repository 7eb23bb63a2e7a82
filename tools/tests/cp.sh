# cp appends pools byte for byte and leaves files alone when it fails.
source "$(dirname "$0")/lib.sh"

make_demo
copy=$work/copy.sim
expect_status 0 cp "$mesh" 0 "$copy"
expect_line "$out" "-> $copy pool 0"
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
expect_status 2 cp "$mesh" 1 "$copy"
expect_line "$err" "$copy: KVTSimExcPoolAlreadyInDoc"
cmp "$mesh" "$copy" || fail "a refused copy changed the target"
expect_status 2 cp "$mesh" 2 "$work/new.sim"
expect_line "$err" "no pool 2: the file has 2 pools"
[ ! -e "$work/new.sim" ] || fail "a refused copy left a file behind"

# A pool over 64 MiB shows progress on a terminal only.
# Its header is the demo's first one, stored open with a one-entry directory.
python3 - "$mesh" "$work/big.sim" <<'PY'
import struct, sys
with open(sys.argv[1], "rb") as f:
    header = f.read(48)
header = header[:20] + b"0" * 16 + header[36:44] + struct.pack("<i", 1)
with open(sys.argv[2], "wb") as f:
    f.write(header + b"b" * 32 + bytes(range(256)) * (260 * 1024))
PY
expect_status 0 cp "$work/big.sim" 0 "$work/big-copy.sim"
[ ! -s "$err" ] || fail "progress shown where standard error is not a terminal"
if command -v script >/dev/null; then
  script -qec "'$tool' cp '$work/big.sim' 0 '$work/big-tty.sim'" /dev/null </dev/null >"$out" ||
    fail "cp on a terminal"
  expect_line "$out" "copied 65.0 MiB in "
  cmp "$work/big.sim" "$work/big-tty.sim" || fail "copy shown with progress differs"
fi
