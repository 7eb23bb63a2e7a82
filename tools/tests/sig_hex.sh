# --sig takes a non-printable signature in the 0x form that ls prints it in.
source "$(dirname "$0")/lib.sh"

make_demo
# Give every pool header of a copy the signature 00 'A' 'B' 'C'.
cp "$mesh" "$work/nul.sim"
for pool in 0 1; do
  overwrite "$work/nul.sim" $(($(pool_field "$mesh" $pool location) + 16)) '\000ABC'
done
expect_status 0 ls --json "$work/nul.sim"
expect_line "$out" '"signature": "0x00414243"'
expect_status 0 ls --sig 0x00414243 "$work/nul.sim"
expect_line "$out" "$(pool_field "$mesh" 1 identifier)"
expect_status 2 ls --sig 0X00414244 "$work/nul.sim"
expect_line "$err" "KVTSimExcUserSigMismatch"
expect_status 2 ls --sig 0x0041424 "$work/nul.sim"
expect_line "$err" "a user signature is exactly 4 bytes, not 9"
