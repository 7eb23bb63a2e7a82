# Command-line usage errors end with status 2 and one line naming the command
# and its help; type probes files, one line each or as JSON.
source "$(dirname "$0")/lib.sh"

make_demo
expect_out 0 --help "check"
expect_out 0 dump --help "--offset"
# Each command's help shows an example; --sig is explained where the loader
# compares it with every pool header, and only there (header, stat and diff
# read files as stored).
for command in type ls header stat dir dump check diff cp recover demo; do
  expect_out 0 "$command" --help "  \$ kvtsim-pool $command "
  case $command in
    type | header | stat | diff | recover | demo)
      if grep -qF "user signature is --sig" "$out"; then fail "$command --help explains --sig"; fi ;;
    *) expect_line "$out" "The document's user signature is --sig XXXX" ;;
  esac
done
expect_err 2 "kvtsim-pool: A subcommand is required: one of type, ls, header, stat,"
expect_err 2 bogus "$mesh" "kvtsim-pool: unknown command 'bogus'; the commands are type, ls, "
expect_err 2 --bogus "kvtsim-pool: unknown option '--bogus' (see kvtsim-pool --help)"
expect_err 2 ls "kvtsim-pool ls: FILE is required (see kvtsim-pool ls --help)"
expect_err 2 ls --bogus "$mesh" "kvtsim-pool ls: The following argument was not expected: --bogus (see kvtsim-pool ls --help)"
expect_err 2 dump "$mesh" "kvtsim-pool dump: POOL is required (see kvtsim-pool dump --help)"
[ "$(wc -l <"$err")" -eq 1 ] || fail "a usage error takes more than one line"
expect_err 2 --sig ABC ls "$mesh" "kvtsim-pool ls: --sig: a user signature is exactly 4 bytes, not 3"
expect_status 0 ls --sig DEMO "$mesh"  # also after the command
# The version comes from the library, which the build gives the project's.
expect_out 0 --version "kvtsim-pool ${KVTSIM_PROJECT_VERSION:?}"

# The demo's format signature followed by other version bytes.
{ head -c 8 "$mesh"; printf '\002'; } >"$work/old.sim"
{ head -c 8 "$mesh"; printf '\005'; } >"$work/v5.sim"
printf 'plain text\n' >"$work/notes.txt"
expect_out 0 type "$work/old.sim" "old.sim: OldSim, upgrade required: yes"
expect_out 0 type "$work/v5.sim" "v5.sim: Sim, upgrade required: yes"
expect_out 0 type "$work/notes.txt" "notes.txt: NotSim, upgrade required: n/a"
# Several files: one line each; one that cannot be read is reported, the
# others are still probed, and the exit status is 2.
expect_err 2 type "$work/old.sim" "$work/missing.sim" "$work/notes.txt" "kvtsim-pool type: $work/missing.sim: KVTSimUttOSError: open:"
[ "$(cat "$out")" = "$work/old.sim: OldSim, upgrade required: yes
$work/notes.txt: NotSim, upgrade required: n/a" ] || fail "type does not probe every file"

# type: the probe's answer; no upgrade answer for a file that is not a container.
expect_status 0 type --json "$mesh"
python3 - "$out" "$mesh" <<'PY' || fail "type --json"
import json, sys
assert json.load(open(sys.argv[1])) == {"files": [{"file": sys.argv[2], "type": "Sim", "upgrade_required": False}]}
PY
patched "$mesh" "$work/old.sim" 8 '\005'
expect_out 0 type --json "$work/old.sim" '"upgrade_required": true'
printf 'plain text, not a container\n' >"$work/text.txt"
expect_out 0 type --json "$work/text.txt" '"type": "NotSim"'
expect_line "$out" '"upgrade_required": null'
