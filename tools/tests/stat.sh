# stat splits every byte of a file into header, directory, data and trailing
# bytes, which add up to its size, damaged and cut files included.
source "$(dirname "$0")/lib.sh"

make_demo
second=$(pool_field "$mesh" 1 location)

# stat_check FILE SIZE POOLS HEADER DIRECTORY DATA MISSING TRAILING: the
# numbers stat --json gives for FILE, alone.
stat_check() {
  expect_status 0 stat --json "$1"
  python3 - "$out" "$@" <<'PY' || fail "stat --json $1"
import json, sys
s = json.load(open(sys.argv[1]))
want = dict(zip(["file", "size", "pools", "header_bytes", "directory_bytes", "data_bytes",
                 "missing_bytes", "trailing_bytes"], [sys.argv[2]] + [int(v) for v in sys.argv[3:]]))
f = s["files"][0]
assert f == want, (f, want)
assert f["header_bytes"] + f["directory_bytes"] + f["data_bytes"] + f["trailing_bytes"] == f["size"]
PY
}

# The demo files, against what the loader lists; totals over both.
expect_status 0 stat --json "$mesh" "$results"
python3 - "$out" "$mesh" "$results" "$tool" <<'PY' || fail "stat --json of the demo"
import json, os, subprocess, sys
s = json.load(open(sys.argv[1]))
ls = json.loads(subprocess.run([sys.argv[4], "ls", "--json"] + sys.argv[2:4], check=True,
                               capture_output=True).stdout)
for f, listed in zip(s["files"], ls["files"]):
    pools = listed["pools"]
    assert f == {"file": listed["file"], "size": os.path.getsize(listed["file"]),
                 "pools": len(pools), "header_bytes": 48 * len(pools),
                 "directory_bytes": sum(32 * p["entries"] for p in pools),
                 "data_bytes": sum(p["data_length"] for p in pools),
                 "missing_bytes": 0, "trailing_bytes": 0}, f
total = s["total"]
assert total["files"] == 2, total
for key in f:
    if key != "file":
        assert total[key] == sum(f[key] for f in s["files"]), key
PY
expect_out 0 stat "$mesh" "$results" "total "
[ "$(wc -l <"$out")" -eq 4 ] || fail "stat prints a heading, one line per file and the totals"

# Cut inside pool 0's data: its stored length claims the rest.
head -c 100 "$mesh" >"$work/cut.sim"
stat_check "$work/cut.sim" 100 1 48 32 20 $((second - 100)) 0
# Cut inside pool 1's header: those bytes begin no record the walk accepts.
head -c $((second + 30)) "$mesh" >"$work/cut-header.sim"
stat_check "$work/cut-header.sim" $((second + 30)) 1 48 32 $((second - 80)) 0 30
# Garbage after a frozen last pool.
head -c "$second" "$mesh" >"$work/trailing.sim"
printf 'garbage after the chain' >>"$work/trailing.sim"
stat_check "$work/trailing.sim" $((second + 23)) 1 48 32 $((second - 80)) 0 23
# A damaged length field ends the walk at that record.
patched "$mesh" "$work/broken.sim" $((second + 20)) 'X'
stat_check "$work/broken.sim" "$(stat -c %s "$mesh")" 1 48 32 $((second - 80)) 0 \
  $(($(stat -c %s "$mesh") - second))
# Nothing to walk.
: >"$work/empty.sim"
stat_check "$work/empty.sim" 0 0 0 0 0 0 0
printf 'text' >"$work/text.txt"
stat_check "$work/text.txt" 4 0 0 0 0 0 4

expect_err 2 stat "$mesh" "$work/missing.sim" "$work/missing.sim: KVTSimUttOSError: open: No such file or directory"
