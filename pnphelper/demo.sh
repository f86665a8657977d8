#!/usr/bin/env bash
# demo.sh: pnphelper end to end, inside the build tree only.
#
#   demo.sh CMAKE BUILD_DIR DEMO_DIR
#
# Installs the build into DEMO_DIR/install (the program's home: its log and
# user folders land there), creates a sample user tree, a writeable root and
# a simulated sysfs with one listed scanner attached, then runs
# "pnphelper action:add", shows the mirror and the log, detaches the
# scanner, runs "pnphelper action:remove" and shows the mirror gone.
set -euo pipefail

cmake_command=$1
build_dir=$2
demo_dir=$3

# Settings from the caller's environment could send files elsewhere.
while read -r name; do
  unset "$name"
done < <(env | sed -n 's/^\(QRB_[A-Za-z0-9_]*\)=.*/\1/p')
unset DEVICEPROBE_SYSFS MERIDIAN_VERSION

prefix=$demo_dir/install
writeable=$demo_dir/writeable
sysfs=$demo_dir/sysfs
user=$prefix/user
mirror=$writeable$user

# step TITLE LOOK-FOR: a heading, then one line on what the step shows.
step() { printf '\n== %s\n   look for: %s\n' "$1" "$2"; }

# Prints a directory as an indented tree, entries sorted by name.
print_tree() {
  local root=$1
  echo "${root}"
  (cd "$root" && find . -mindepth 1 | LC_ALL=C sort) |
    awk -F/ '{ indent = ""; for (i = 2; i < NF; i++) indent = indent "    "; print indent "|-- " $NF }'
}

run_pnphelper() {
  local status=0
  DEVICEPROBE_SYSFS=$sysfs "$prefix/bin/pnphelper" "$@" || status=$?
  echo "pnphelper $* -> exit status $status"
  if [ "$status" -ne 0 ]; then
    echo "demo: unexpected exit status" >&2
    exit 1
  fi
}

attach_scanner() {
  local dev=$sysfs/bus/usb/devices/$1
  mkdir -p "$dev"
  printf '%s\n' "$2" >"$dev/idVendor"
  printf '%s\n' "$3" >"$dev/idProduct"
}

step "install into $prefix" \
  "the program, its probe and resource tool, const.ini and one udev rule per listed scanner"
rm -rf "$demo_dir"
mkdir -p "$demo_dir"
"$cmake_command" --install "$build_dir" --prefix "$prefix" --component runtime >/dev/null
(cd "$prefix" && find . -type f -o -type l | LC_ALL=C sort | sed 's/^\.\//  /')
echo "udev rule:"
sed -n 's/^SUBSYSTEM/  SUBSYSTEM/p' "$prefix/lib/udev/rules.d/60-pnphelper.rules"

step "sample user tree in $user" \
  "the model's per-user files; only profiles/, *.ini and usb*.lock will be mirrored, in any letter case"
mkdir -p "$user/profiles/duplex" "$user/Profiles-old" "$user/cache" "$user/device/1-1"
echo "<profile>Default</profile>" >"$user/profiles/Default.xml"
echo "<profile>Duplex colour</profile>" >"$user/profiles/duplex/colour.xml"
echo "notes that travel with the profiles" >"$user/profiles/README"
printf '[scan]\nresolution=300\n' >"$user/settings.ini"
printf '[advanced]\nsleep=15\n' >"$user/ADVANCED.INI"
printf '[cache]\nsize=64\n' >"$user/cache/cache.ini"
echo "thumbnail bytes" >"$user/cache/thumb.jpg"
echo "1-1" >"$user/usb1.lock"
echo "1-2" >"$user/device/1-1/USB2.LOCK"
echo "not a usb lock" >"$user/scanner.lock"
echo "read me" >"$user/readme.txt"
echo "no extension" >"$user/notes"
echo "old profile" >"$user/Profiles-old/old.xml"
print_tree "$user"
echo "(to be mirrored: profiles/ whole, *.ini, usb*.lock; nothing else)"

step "configuration, writeable root and a simulated scanner" \
  "writeable= in [dsIdentity] turns the mirror on; Debug=1 makes the log show each decision"
mkdir -p "$writeable"
cat >"$prefix/const.ini" <<EOF
[dsIdentity]
writeable=$writeable
Debug=1
EOF
cat "$prefix/const.ini"
attach_scanner 1-1 040a 6020
attach_scanner 1-2 046d c52b
echo "sysfs: $sysfs (040a:6020 attached, 046d:c52b attached)"

step "scanner attached: pnphelper action:add" \
  "the mirror is the writeable root plus the user tree's whole absolute path, so trees of several models never collide"
run_pnphelper action:add
print_tree "$mirror"

log_file=$prefix/log/pnphelper.log
# The helper's own lines (sources pnphelper and oslinux) of the last run.
show_log() {
  step "last lines of the log $log_file (the helper's own lines)" \
    "columns: counter, time, source, line, errno, thread, state, flag; the errno column is what the last system call left behind (2, no such file, after an add's lookups), not a failure of that line"
  if [ -f "$log_file" ]; then
    grep -E '^[0-9]+ [0-9]+ (pnphelper|oslinux) ' "$log_file" | tail -n "$1" | tr -d '\r'
  else
    echo "(no log)"
  fi
}
show_log 14

step "scanner still attached: pnphelper action:remove keeps the mirror" \
  "the probe exits 0 while a listed scanner is attached, and the program then keeps the mirror"
run_pnphelper action:remove
[ -d "$mirror" ] && echo "mirror kept: $mirror"

step "scanner detached: pnphelper action:remove" \
  "the mirror goes, its empty parent folders stay: mirrors of other models may share them, so a remove deletes the mirror itself and nothing above it"
rm -rf "$sysfs/bus/usb/devices/1-1"
run_pnphelper action:remove
if [ -e "$mirror" ]; then
  echo "demo: the mirror is still there" >&2
  exit 1
fi
echo "mirror gone: $mirror"
print_tree "$writeable"
show_log 10
echo "DeviceConnected() Exit: 0 above is the program's answer (0: no listed scanner attached);"
echo "it is the opposite of the probe's exit status, where 0 means attached."
