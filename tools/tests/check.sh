# Damaged headers and directories: check names each problem and exits 1, in
# text or as JSON; ls refuses the file with exit 2, the error kind, the pool
# and offset where the loader stopped, and what to run next.
source "$(dirname "$0")/lib.sh"

make_demo
second=$(pool_field "$mesh" 1 location)

patched "$mesh" "$work/header.sim" $((second + 22)) 'XY'
expect_out 1 check "$work/header.sim" "header.sim: pool 1 at offset $second: stored length '00XY000000000000' is not 16 decimal digits"
expect_line "$out" "header.sim: the library refuses to load it: KVTSimExcCorruptHeader"
expect_err 2 ls "$work/header.sim" "kvtsim-pool ls: $work/header.sim: KVTSimExcCorruptHeader: pool 1 at offset $second: 'kvtsim-pool check $work/header.sim' lists every problem; 'kvtsim-pool recover $work/header.sim -o OUT' keeps"

patched "$mesh" "$work/directory.sim" 44 '\350\003\000\000'  # 1000 entries
expect_out 1 check "$work/directory.sim" "directory.sim: pool 0 at offset 0: directory of 1000 entries passes the end of the file"

patched "$mesh" "$work/version.sim" 8 '\005'
expect_out 1 check "$work/version.sim" "version.sim: pool 0 at offset 0: format version 5; the library reads version 6 only"
expect_line "$out" "KVTSimExcNeedUpgrade(current=6, found=5"
expect_out 1 --sig ABCD check "$mesh" "pool 1 at offset $second: user signature 'DEMO' differs from the document's 'ABCD'"
expect_line "$out" "KVTSimExcUserSigMismatch"

# The same pools in two files clash; one file named twice is a usage error.
cp "$mesh" "$work/twin.sim"
expect_out 1 check "$mesh" "$work/twin.sim" "identifier $(pool_field "$mesh" 0 identifier) names more than one pool: $mesh pool 0, $work/twin.sim pool 0"
expect_line "$out" "twin.sim: the library refuses to load it: KVTSimExcPoolAlreadyInDoc"
expect_err 2 check "$mesh" "$mesh" "given more than once"
: >"$work/empty.sim"
expect_out 1 --sig DEMO check "$work/empty.sim" "empty.sim: empty file: it holds no pool record"

# The loader accepts these two; check does not.
cat "$mesh" "$results" >"$work/joined.sim"
expect_out 1 check "$work/joined.sim" "pool 1 at offset $second: stored open, yet a pool header lies inside it at file offset $(stat -c %s "$mesh")"
# A pool running past the end of the file counts as a pool; one byte short
# is said in the singular.
head -c $((second - 1)) "$mesh" >"$work/cut.sim"
expect_out 1 check "$work/cut.sim" "cut.sim: pool 0 at offset 0: stored length $second passes the end of the file by 1 byte: the chain"
expect_line "$out" "check: 1 file, 1 pool: "
expect_status 0 ls "$work/cut.sim"
# The last of two pools claims more bytes than the file holds: both count.
start=$(pool_field "$results" 1 location)
head -c $((start + 200)) "$results" >"$work/two.sim"
overwrite "$work/two.sim" $((start + 20)) 0000000000004000
expect_out 1 check "$work/two.sim" "two.sim: pool 1 at offset $start: stored length 4000 passes the end of the file by 3800 bytes"
expect_line "$out" "check: 1 file, 2 pools: "

# Entries naming pools of a file not given are unresolved, unless allowed.
expect_out 1 check "$results" "results.sim: pool 0: directory slot 1 names pool $(pool_field "$mesh" 0 identifier), which is not in the files given (unresolved)"
expect_line "$out" "check: 1 file, 2 pools: 4 problems"
expect_out 0 check --allow-unresolved "$results" "note: "

# check finds a header problem exactly where the loader refuses a header, and
# the load it then tries fails with the kind ls reports.
while IFS=: read -r offset bytes kind; do
  patched "$mesh" "$work/crafted.sim" "$offset" "$bytes"
  if [ -z "$kind" ]; then
    expect_status 0 ls "$work/crafted.sim"
    expect_status 0 check "$work/crafted.sim"
    continue
  fi
  expect_err 2 ls "$work/crafted.sim" "crafted.sim: $kind"
  expect_out 1 check "$work/crafted.sim" "crafted.sim: pool "
  expect_line "$out" "crafted.sim: the library refuses to load it: $kind"
done <<LIST
1:XYZ:KVTSimExcNotSimFile
8:\200:KVTSimExcNeedUpgrade
$((second + 16)):ABCD:KVTSimExcUserSigMismatch
$((second + 30)):-:KVTSimExcCorruptHeader
$((second + 20)):0000000000000001:KVTSimExcCorruptHeader
44:\000\000\000\000:KVTSimExcCorruptDirectory
44:\350\003\000\000:KVTSimExcCorruptDirectory
44:\377\377\377\377:KVTSimExcCorruptDirectory
9:PADDING:
36:\007:
LIST

# Each problem of check as an object; the totals agree with the text form. The
# cut copy of the mesh counts as a pool, so its identifier clashes with the
# version copy's.
patched "$mesh" "$work/version.sim" $((second + 8)) '\005'
head -c 100 "$mesh" >"$work/cut.sim"
expect_status 1 check --json "$work/version.sim" "$work/cut.sim" "$results"
python3 - "$out" "$work" "$second" "$results" <<'PY' || fail "check --json"
import json, sys
c = json.load(open(sys.argv[1]))
work, second, results = sys.argv[2], int(sys.argv[3]), sys.argv[4]
problems = c["problems"]
def find(kind):
    found = [p for p in problems if p["kind"] == kind]
    assert found, (kind, problems)
    return found[0]
assert find("version") == {"file": work + "/version.sim", "pool": 1, "offset": second,
                           "kind": "version",
                           "message": "format version 5; the library reads version 6 only"}
assert find("past_end")["file"] == work + "/cut.sim" and find("past_end")["offset"] == 0
refused = find("load_refused")
assert refused["file"] == work + "/version.sim" and refused["pool"] is None, refused
assert "KVTSimExcNeedUpgrade" in refused["message"], refused
assert [(h["file"], h["kind"]) for h in c["hints"]] == \
    [(work + "/version.sim", "recover"), (work + "/cut.sim", "recover")], c["hints"]
assert c["totals"] == {"files": 3, "pools": 5, "problems": 4, "notes": 0}, c["totals"]
PY
expect_out 1 check "$work/version.sim" "$work/cut.sim" "$results" "check: 3 files, 5 pools: 4 problems"
# A problem of two files names neither.
cp "$mesh" "$work/twin.sim"
expect_status 1 check --json "$mesh" "$work/twin.sim"
python3 - "$out" <<'PY' || fail "check --json of a clash"
import json, sys
clash = [p for p in json.load(open(sys.argv[1]))["problems"] if p["kind"] == "duplicate_identifier"]
assert len(clash) == 2 and all(p["file"] is None and p["pool"] is None for p in clash), clash
PY

expect_status 0 check --json --allow-unresolved "$results"
python3 - "$out" <<'PY' || fail "check --json notes"
import json, sys
c = json.load(open(sys.argv[1]))
assert c["problems"] == [] and c["totals"]["problems"] == 0, c
assert [(n["pool"], n["kind"]) for n in c["notes"]] == [(0, "unresolved")] * 2 + [(1, "unresolved")] * 2
PY

