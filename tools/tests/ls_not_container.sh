# ls refuses a text file and an empty file as not container files, as type
# classifies them, with or without --sig.
source "$(dirname "$0")/lib.sh"

make_demo
: >"$work/empty.sim"
printf 'plain text\n' >"$work/short.txt"
{ printf 'a text file long enough to hold a pool header\n'; cat "$0"; } >"$work/long.txt"
for sig in "" "--sig DEMO"; do
  expect_status 2 ls $sig "$work/empty.sim"
  expect_line "$err" "kvtsim-pool ls: $work/empty.sim: empty file: not a container file"
  [ ! -s "$out" ] || fail "ls of an empty file prints no table"
  for text in short.txt long.txt; do
    expect_status 2 ls $sig "$mesh" "$work/$text"
    expect_line "$err" "kvtsim-pool ls: $work/$text: KVTSimExcNotSimFile: not a container file (type calls it NotSim)"
  done
done
expect_status 0 type "$work/long.txt"
expect_line "$out" "long.txt: NotSim"
