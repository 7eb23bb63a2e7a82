# check, dir and type print one JSON object with --json, saying what their
# text says.
source "$(dirname "$0")/lib.sh"

make_demo
second=$(pool_field "$mesh" 1 location)

# Each problem of check as an object; the totals agree with the text form. The
# cut copy of the mesh counts as a pool, so its identifier clashes with the
# version copy's.
cp "$mesh" "$work/version.sim"
overwrite "$work/version.sim" $((second + 8)) '\005'
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
expect_status 1 check "$work/version.sim" "$work/cut.sim" "$results"
expect_line "$out" "check: 3 files, 5 pools: 4 problems"
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

# dir: each slot, loaded or not, and where.
expect_status 0 dir --json "$results" 1 --with "$mesh"
python3 - "$out" "$results" "$mesh" "$(pool_field "$results" 1 identifier)" <<'PY' || fail "dir --json"
import json, sys
d = json.load(open(sys.argv[1]))
results, mesh, own = sys.argv[2:5]
assert d["file"] == results and d["pool"] == "1", d
assert [(e["slot"], e["loaded"], e["file"], e["pool"]) for e in d["entries"]] == \
    [(0, True, results, 1), (1, True, mesh, 0), (2, True, mesh, 1)], d["entries"]
assert d["entries"][0]["identifier"] == own
PY
expect_status 0 dir --json "$results" 0
python3 - "$out" <<'PY' || fail "dir --json without the mesh"
import json, sys
entries = json.load(open(sys.argv[1]))["entries"]
assert [(e["loaded"], e["file"], e["pool"]) for e in entries[1:]] == [(False, None, None)] * 2
PY

# type: the probe's answer; no upgrade answer for a file that is not a container.
expect_status 0 type --json "$mesh"
python3 - "$out" "$mesh" <<'PY' || fail "type --json"
import json, sys
assert json.load(open(sys.argv[1])) == {"files": [{"file": sys.argv[2], "type": "Sim", "upgrade_required": False}]}
PY
cp "$mesh" "$work/old.sim"
overwrite "$work/old.sim" 8 '\005'
expect_status 0 type --json "$work/old.sim"
expect_line "$out" '"upgrade_required": true'
printf 'plain text, not a container\n' >"$work/text.txt"
expect_status 0 type --json "$work/text.txt"
expect_line "$out" '"type": "NotSim"'
expect_line "$out" '"upgrade_required": null'
