#!/usr/bin/env bash
# Runs the Secret Service store tests against real services: each suite in the
# private D-Bus session it needs, with HOME and the XDG directories in a temporary
# directory and no display, so that no keyring can wait on a password dialog and
# nothing touches the user's own keyring.
#   usage: run_secret_service_tests.sh <test executable>
set -euo pipefail

binary=$(realpath "$1")
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

export HOME=$work/home
export XDG_CONFIG_HOME=$HOME/.config XDG_DATA_HOME=$HOME/.local/share XDG_CACHE_HOME=$HOME/.cache
export XDG_RUNTIME_DIR=$work/runtime
mkdir -p "$HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
unset DISPLAY WAYLAND_DISPLAY DBUS_SESSION_BUS_ADDRESS GNOME_KEYRING_CONTROL

# Runs one filter of the test program and insists that tests ran and passed: an
# empty filter or a skipped test must not pass for a green run.
run_suite() {
  local scenario=$1 filter=$2 log
  log=$(mktemp -p "$work")
  echo "== $scenario: $filter"
  if ! TRELVIS_SECRET_SERVICE_SCENARIO=$scenario "$binary" --gtest_filter="$filter" >"$log" 2>&1; then
    cat "$log"
    return 1
  fi
  cat "$log"
  if ! grep -q '^\[  PASSED  \] [1-9]' "$log" || grep -q '^\[  SKIPPED \]' "$log"; then
    echo "error: no test of $filter ran, or one was skipped" >&2
    return 1
  fi
}
export -f run_suite
export binary work

# A keyring unlocked with a password (an empty one could make the daemon wait for
# a prompt), then the same keyring locked by the second suite.
dbus-run-session -- bash -euo pipefail -c '
  printf %s "trelvis-test-keyring" |
    gnome-keyring-daemon --unlock --components=secrets --daemonize >/dev/null
  # --daemonize returns before the daemon owns its name.
  gdbus wait --session --timeout 10 org.freedesktop.secrets
  run_suite keyring "SecretServiceKeyringTest.*"
  run_suite locked "SecretServiceLockedKeyringTest.*"
'

# A session bus without any service that could be started on it.
dbus-run-session --config-file="$here/bare-session-bus.conf" -- \
  bash -euo pipefail -c 'run_suite no-service "SecretServiceUnreachableTest.*"'

# No session bus at all.
DBUS_SESSION_BUS_ADDRESS="unix:path=$work/no-such-bus" \
  run_suite no-bus "SecretServiceUnreachableTest.WithoutASecretServiceEveryCallSaysSo"
