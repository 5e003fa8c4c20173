#!/usr/bin/env bash
# bare_machine.sh SUITE COMMAND... - runs a command as a newcomer would: on a minimal Debian of that suite (bookworm, trixie)
# with only git and bash added, in a fresh clone of this repository's HEAD. The system is a folder, build/bare/SUITE, which
# each call creates anew. The script exits with the command's status. Needs root, for chroot.
#
#   scripts/bare_machine.sh trixie scripts/test.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

[ $# -ge 2 ] || fail "bare_machine.sh takes a suite and a command" "for example: scripts/bare_machine.sh trixie scripts/test.sh"
[ "$(id -u)" -eq 0 ] || fail "only root may use chroot" "run it with sudo"
suite=$1
shift

install_packages debootstrap
bare=$root/build/bare
mkdir -p "$bare"
if [ ! -f "$bare/$suite.base/complete" ]; then
    say "Making a bare Debian ($suite)"
    rm -rf "$bare/$suite.base"
    debootstrap --variant=minbase --include=git,ca-certificates "$suite" "$bare/$suite.base" >"$bare/$suite.log" 2>&1 ||
        fail "the bare system could not be created" "look at $bare/$suite.log"
    touch "$bare/$suite.base/complete"
fi
system=$bare/$suite
[ ! -e "$system" ] || rm -rf --one-file-system "$system"
cp -a "$bare/$suite.base" "$system"
cp /etc/resolv.conf "$system/etc/resolv.conf"
git clone --quiet --no-local "$root" "$system/root/clone"

say "Running in $system: $*"
# Namespaces of its own end the command's mounts and processes together with it.
status=0
# shellcheck disable=SC2016  # the inner shell expands
unshare --mount --pid --fork --kill-child --mount-proc="$system/proc" bash -c '
    system=$1
    shift
    mount --rbind /dev "$system/dev" && mount --rbind /sys "$system/sys" &&
        exec chroot "$system" /usr/bin/env -i HOME=/root PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
            LC_ALL=C.UTF-8 TERM="${TERM:-dumb}" bash -c "cd /root/clone && exec \"\$@\"" -- "$@"' -- "$system" "$@" || status=$?
say "The command ended with status $status"
exit "$status"
