# demo writes two files that reopen, read back across files and check clean.
source "$(dirname "$0")/lib.sh"

make_demo
expect_line "$out" 'node 1 "inlet" at (0, 0)'
expect_line "$out" 'node 3 "top" at (0, 7.25)'
expect_line "$out" 'element "tri-b" with nodes "outlet" (10.5, 0), "corner" (10.5, 7.25), "top" (0, 7.25)'
# A result in results.sim followed into mesh.sim, and on to the nodes.
expect_line "$out" "pressure = 998.5 on element \"tri-b\" ($mesh pool 1 +56) with nodes \"outlet\""
expect_line "$out" "temperature = 293.15 on element \"tri-a\""
expect_line "$out" "$results pool 1: step 2, 2 results"

expect_out 0 check "$mesh" "$results" "check: 2 files, 4 pools: no problems"
expect_status 0 check "$results" "$mesh"
expect_out 0 type "$mesh" "$mesh: Sim, upgrade required: no"

# Nothing is overwritten: a second demo into the same directory is refused.
before=$(cksum <"$mesh")
expect_err 2 demo "$work/demo" "mesh.sim: exists already"
[ "$(cksum <"$mesh")" = "$before" ] || fail "demo changed an existing file"
