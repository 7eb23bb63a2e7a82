# Damaged headers and directories: check names each problem and exits 1;
# ls refuses the file with exit 2, the error kind, the pool and offset where
# the loader stopped, and what to run next.
source "$(dirname "$0")/lib.sh"

make_demo
second=$(pool_field "$mesh" 1 location)

cp "$mesh" "$work/header.sim"
overwrite "$work/header.sim" $((second + 22)) 'XY'
expect_status 1 check "$work/header.sim"
expect_line "$out" "header.sim: pool 1 at offset $second: stored length '00XY000000000000' is not 16 decimal digits"
expect_line "$out" "header.sim: the library refuses to load it: KVTSimExcCorruptHeader"
expect_status 2 ls "$work/header.sim"
expect_line "$err" "kvtsim-pool ls: $work/header.sim: KVTSimExcCorruptHeader: pool 1 at offset $second: 'kvtsim-pool check $work/header.sim' lists every problem; 'kvtsim-pool recover $work/header.sim -o OUT' keeps"

cp "$mesh" "$work/directory.sim"
overwrite "$work/directory.sim" 44 '\350\003\000\000'  # 1000 entries
expect_status 1 check "$work/directory.sim"
expect_line "$out" "directory.sim: pool 0 at offset 0: directory of 1000 entries passes the end of the file"
expect_line "$out" "KVTSimExcCorruptDirectory"
expect_status 2 ls "$work/directory.sim"
expect_line "$err" "$work/directory.sim: KVTSimExcCorruptDirectory"

cp "$mesh" "$work/version.sim"
overwrite "$work/version.sim" 8 '\005'
expect_status 1 check "$work/version.sim"
expect_line "$out" "version.sim: pool 0 at offset 0: format version 5; the library reads version 6 only"
expect_line "$out" "KVTSimExcNeedUpgrade(current=6, found=5"
expect_status 1 --sig ABCD check "$mesh"
expect_line "$out" "pool 1 at offset $second: user signature 'DEMO' differs from the document's 'ABCD'"
expect_line "$out" "KVTSimExcUserSigMismatch"

# The same pools in two files clash; one file named twice is a usage error.
cp "$mesh" "$work/twin.sim"
expect_status 1 check "$mesh" "$work/twin.sim"
expect_line "$out" "identifier $(pool_field "$mesh" 0 identifier) names more than one pool: $mesh pool 0, $work/twin.sim pool 0"
expect_line "$out" "twin.sim: the library refuses to load it: KVTSimExcPoolAlreadyInDoc"
expect_status 2 check "$mesh" "$mesh"
expect_line "$err" "given more than once"
: >"$work/empty.sim"
expect_status 1 --sig DEMO check "$work/empty.sim"
expect_line "$out" "empty.sim: empty file: it holds no pool record"

# The loader accepts these two; check does not.
cat "$mesh" "$results" >"$work/joined.sim"
expect_status 1 check "$work/joined.sim"
expect_line "$out" "pool 1 at offset $second: stored open, yet a pool header lies inside it at file offset $(stat -c %s "$mesh")"
head -c 100 "$mesh" >"$work/cut.sim"
expect_status 1 check "$work/cut.sim"
expect_line "$out" "pool 0 at offset 0: stored length $second passes the end of the file by $((second - 100)) bytes"

# Entries naming pools of a file not given are unresolved, unless allowed.
expect_status 1 check "$results"
expect_line "$out" "results.sim: pool 0: directory slot 1 names pool $(pool_field "$mesh" 0 identifier), which is not in the files given (unresolved)"
expect_line "$out" "check: 1 file, 2 pools: 4 problems"
expect_status 0 check --allow-unresolved "$results"
expect_line "$out" "note: "

expect_status 2 ls "$work/missing.sim"
expect_line "$err" "$work/missing.sim: KVTSimUttOSError: open: No such file or directory"
expect_status 2 --sig ABCD ls "$mesh"
expect_line "$err" "$mesh: KVTSimExcUserSigMismatch: pool 0 at offset 0 stores user signature 'DEMO', not the document's 'ABCD': give --sig DEMO to open it"
# A later pool with a signature that is not printable: the form --sig takes.
cp "$mesh" "$work/sig.sim"
overwrite "$work/sig.sim" $((second + 16)) '\000BCD'
expect_status 2 ls "$work/sig.sim"
expect_line "$err" "sig.sim: KVTSimExcUserSigMismatch: pool 1 at offset $second stores user signature '0x00424344', not the document's 'DEMO': give --sig 0x00424344 to open"

# check finds a header problem exactly where the loader refuses a header, and
# the load it then tries fails with the kind ls reports.
while IFS=: read -r offset bytes kind; do
  cp "$mesh" "$work/crafted.sim"
  overwrite "$work/crafted.sim" "$offset" "$bytes"
  if [ -z "$kind" ]; then
    expect_status 0 ls "$work/crafted.sim"
    expect_status 0 check "$work/crafted.sim"
    continue
  fi
  expect_status 2 ls "$work/crafted.sim"
  expect_line "$err" "crafted.sim: $kind"
  expect_status 1 check "$work/crafted.sim"
  expect_line "$out" "crafted.sim: pool "
  expect_line "$out" "crafted.sim: the library refuses to load it: $kind"
done <<LIST
1:XYZ:KVTSimExcNotSimFile
8:\200:KVTSimExcNeedUpgrade
$((second + 16)):ABCD:KVTSimExcUserSigMismatch
$((second + 30)):-:KVTSimExcCorruptHeader
$((second + 20)):0000000000000001:KVTSimExcCorruptHeader
44:\000\000\000\000:KVTSimExcCorruptDirectory
44:\377\377\377\377:KVTSimExcCorruptDirectory
9:PADDING:
36:\007:
LIST
