# header prints every header field as stored, walking the chain without the
# loader, so it shows files the library refuses and where the walk stops.
source "$(dirname "$0")/lib.sh"

make_demo
second=$(pool_field "$mesh" 1 location)
size=$(stat -c %s "$mesh")

expect_out 0 header "$mesh" "pool 0 at offset 0: the loader accepts it"
expect_line "$out" "pool 1 at offset $second: the loader accepts it"
expect_line "$out" "  format signature  0x8953494d0d0a1a0a (valid)"
expect_line "$out" "  padding           0x00000000000000"
expect_line "$out" "  length            $(printf '%016d' "$second") ($second bytes)"
expect_line "$out" "  length            0000000000000000 (stored open: the pool runs to the end of the file)"
expect_line "$out" "  record length     $((size - second)) (ends at offset $size)"
expect_line "$out" "  identifier        $(pool_field "$mesh" 1 identifier)"
expect_line "$out" "walk: the chain ends at offset $size, exactly at the end of the file"

# The JSON form of one record, chosen by a hexadecimal index.
expect_status 0 header "$mesh" 0x1 --json
python3 - "$out" "$second" "$size" <<'PY' || fail "header --json"
import json, sys
h = json.load(open(sys.argv[1]))
second, size = int(sys.argv[2]), int(sys.argv[3])
assert h["size"] == size and len(h["pools"]) == 1, h
p = h["pools"][0]
assert p == {"index": 1, "offset": second, "header_bytes": 48,
             "format_signature": "0x8953494d0d0a1a0a", "version": 6,
             "padding": "0x00000000000000", "user_signature": "DEMO",
             "length_digits": "0" * 16, "word_a": 2, "word_b": 0, "entries": 2,
             "record_length": size - second, "identifier": p["identifier"],
             "fault": None}, p
assert len(p["identifier"]) == 32
assert h["stop"]["reason"] == "chain_end" and h["stop"]["offset"] == size, h["stop"]
PY

# Bytes no check looks at are shown as stored; a version the loader refuses
# does not stop the walk, length characters that are not digits do.
patched "$mesh" "$work/refused.sim" 8 '\005PADDING'
overwrite "$work/refused.sim" $((second + 22)) 'XY'
overwrite "$work/refused.sim" $((second + 36)) '\007\000\000\000\011\000\000\000'
expect_status 2 ls "$work/refused.sim"
expect_out 0 header "$work/refused.sim" "pool 0 at offset 0: the loader refuses it: format version other than 6 (KVTSimExcNeedUpgrade"
expect_line "$out" "  version           5"
expect_line "$out" "  padding           PADDING"
expect_line "$out" "pool 1 at offset $second: the loader refuses it: length is not 16 decimal digits (KVTSimExcCorruptHeader)"
expect_line "$out" "  length            00XY000000000000 (not 16 decimal digits)"
expect_line "$out" "  word A            7"
expect_line "$out" "  word B            9"
expect_line "$out" "walk: the walk stops at offset $second: the extent of the record there cannot be known"

# A file cut inside a header: the fields it holds, null for the rest.
head -c $((second + 22)) "$mesh" >"$work/cut.sim"
expect_status 0 header --json "$work/cut.sim" 1
python3 - "$out" "$second" <<'PY' || fail "header --json of a cut header"
import json, sys
h = json.load(open(sys.argv[1]))
p = h["pools"][0]
assert p["offset"] == int(sys.argv[2]) and p["header_bytes"] == 22, p
assert p["user_signature"] == "DEMO" and p["version"] == 6, p
assert [p[k] for k in ("length_digits", "word_a", "word_b", "entries", "record_length", "identifier")] == [None] * 6, p
assert p["fault"]["kind"] == "KVTSimExcCorruptHeader", p["fault"]
assert p["fault"]["message"].startswith("header cut short"), p["fault"]
assert h["stop"] == {"reason": "broken", "offset": int(sys.argv[2]), "message": h["stop"]["message"]}, h["stop"]
PY
expect_out 0 header "$work/cut.sim" 1 "  length            missing: the file ends after 22 header bytes"

# A file cut inside its only pool's data: the walk stops past the end.
head -c 100 "$mesh" >"$work/short.sim"
expect_out 0 header "$work/short.sim" "walk: the last pool claims bytes up to offset $second, $((second - 100)) past the end of the file"

printf 'just some text, long enough to fill a header and more\n' >"$work/text.txt"
expect_out 0 header "$work/text.txt" "pool 0 at offset 0: the loader refuses it: no format signature: no pool record begins here (KVTSimExcNotSimFile)"

expect_err 2 header "$mesh" 2 "$mesh: no pool record 2: the walk finds 2 records; the chain ends at offset $size"
expect_err 2 header "$mesh" one "'one' is not a pool index"
