#!/usr/bin/env bash
# The main job: installs what is missing, builds dmctl, and walks through a
# short scenario on the device's embedded default database:
#   a second process watches; an alarm is raised and its card appears; the
#   alarm is cleared and its clear card appears; a status report is printed;
#   an event is sent and decoded from the management client's queue; a
#   signed file is split and verified.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default --target dmctl
dmctl=build/default/tools/dmctl/dmctl
work=$(mktemp -d)
watcher=""
listener=""
cleanup() {
  for pid in $watcher $listener; do kill "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT

step() { printf '\n\033[1m== %s\033[0m\n' "$*"; }
# Waits until a background dmctl has said on stderr that it is ready.
ready() { for _ in $(seq 100); do grep -q "$2" "$1" 2>/dev/null && return 0; sleep 0.05; done; return 1; }

step "The device, from the embedded default database"
$dmctl config get device/model
$dmctl config get device/name
$dmctl config list personal_settings/functional_key/

step "A second process watches alarms, events and cards (its lines start with [watch])"
$dmctl watch --timeout 3000 >"$work/watch.out" 2>"$work/watch.err" &
watcher=$!
ready "$work/watch.err" watching
(tail -n +1 -f "$work/watch.out" --pid="$watcher" | sed -u 's/^/[watch] /') &

step "Raise an alarm: its card appears in the watcher"
$dmctl alarm raise LinkDown network --severity 3 --description "Link [AI1] is down" --info1 eth0 --category network
sleep 1
$dmctl alarms

step "Clear it: the watcher writes the card that deletes the shown one"
$dmctl alarm clear LinkDown network
sleep 1
$dmctl alarms
wait "$watcher" || true
watcher=""

step "The status report sent to the EMS"
$dmctl report status

step "Send an event to the management client's queue and decode it there"
$dmctl listen --count 1 --timeout 5000 2>"$work/listen.err" &
listener=$!
ready "$work/listen.err" listening
$dmctl send ipp-status 7
wait "$listener"
listener=""

step "Sign, split and verify a signed file"
openssl req -x509 -newkey rsa:2048 -nodes -keyout "$work/signer.key" -out "$work/signer.crt" -days 30 \
  -subj "/CN=firmware signer" 2>/dev/null
printf 'firmware image 3.2.2\n' >"$work/fw.bin"
$dmctl sig sign "$work/signer.key" "$work/fw.bin"
$dmctl cert info "$work/signer.crt"
$dmctl sig split "$work/fw.bin" "$work/fw.sig"
$dmctl sig verify "$work/signer.crt" "$work/fw.bin" "$work/fw.sig"

step "Done. Try: $dmctl --help"
