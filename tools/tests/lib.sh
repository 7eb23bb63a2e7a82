# Helpers for the kvtsim-pool tests. Each test script is run by CTest as
#   bash <script> <path of kvtsim-pool>
# and sources this file; it works in a fresh directory, removed at exit.
set -euo pipefail

tool=$1
work=$(mktemp -d "${TMPDIR:-/tmp}/kvtsim-pool-test-XXXXXX")
trap 'rm -rf "$work"' EXIT
out=$work/stdout
err=$work/stderr

fail() {
  echo "FAILED: $*" >&2
  echo "--- stdout:" >&2
  cat "$out" >&2 || true
  echo "--- stderr:" >&2
  cat "$err" >&2 || true
  exit 1
}

# expect_status N ARGS...: runs the tool with ARGS, keeping its output in
# $out and $err, and fails unless it exits with N.
expect_status() {
  local want=$1 status=0
  shift
  "$tool" "$@" >"$out" 2>"$err" || status=$?
  [ "$status" -eq "$want" ] || fail "kvtsim-pool $* exited with $status, expected $want"
}

# expect_line FILE TEXT: fails unless FILE has a line containing TEXT.
expect_line() {
  grep -qF -- "$2" "$1" || fail "no line containing '$2' in $(basename "$1")"
}

# expect_out N ARGS... TEXT, expect_err N ARGS... TEXT: expect_status N ARGS,
# then expect_line TEXT on its standard output or standard error.
expect_out() {
  expect_status "${@:1:$#-1}"
  expect_line "$out" "${!#}"
}
expect_err() {
  expect_status "${@:1:$#-1}"
  expect_line "$err" "${!#}"
}

# overwrite FILE OFFSET BYTES: replaces bytes of FILE (printf escapes allowed).
overwrite() {
  printf "$3" | dd of="$1" bs=1 seek="$2" conv=notrunc status=none
}

# patched SRC DEST OFFSET BYTES: DEST is a copy of SRC with bytes replaced.
patched() {
  cp "$1" "$2"
  overwrite "$2" "$3" "$4"
}

# big_pool SRC DEST [torn]: one pool of 65 MiB under the first header of SRC
# with a one-entry directory, stored open; torn: frozen, then a torn header.
big_pool() {
  python3 - "$@" <<'PY'
import sys
header, data = open(sys.argv[1], "rb").read(48), bytes(range(256)) * (260 * 1024)
torn = len(sys.argv) > 3
length = b"%016d" % (48 + 32 + len(data)) if torn else b"0" * 16
header = header[:20] + length + header[36:44] + (1).to_bytes(4, "little")
open(sys.argv[2], "wb").write(header + b"b" * 32 + data + (header[:30] if torn else b""))
PY
}

# The demo document, written once per test.
make_demo() {
  expect_status 0 demo "$work/demo"
  mesh=$work/demo/mesh.sim
  results=$work/demo/results.sim
}

# pool_field FILE INDEX FIELD: a field of ls --json for one pool.
pool_field() {
  "$tool" ls --json "$1" |
    python3 -c 'import json,sys; print(json.load(sys.stdin)["files"][0]["pools"][int(sys.argv[1])][sys.argv[2]])' "$2" "$3"
}
