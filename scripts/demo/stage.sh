# What ./demo stands on: processes that all end with it, a display, a release server, the installer, pictures. To be
# sourced; needs $out (a directory of its own), $build (where the programs are) and bash's `set -euo pipefail`.

declare -A children=() # those that may still run; each leads a group of processes
start() { # COMMAND...
  setsid "$@" &
  children[$!]=1
}
finish() { # PID: waits for it; its status
  local status=0
  wait "$1" || status=$?
  unset "children[$1]"
  return "$status"
}

# Ends whatever runs from our own machine: its tools, and the application, which outlives the installer.
close_machine() {
  local process
  for process in /proc/[0-9]*; do
    case "$(readlink "$process/exe" 2>/dev/null)" in
      "$PWD/$out"/root/*) kill "${process#/proc/}" 2>/dev/null || true ;;
    esac
  done
}
detach_volumes() {
  local volume
  for volume in "$out"/root/Volumes/*/; do
    [ ! -d "$volume" ] || "$out/root/usr/bin/hdiutil" detach "$volume" >/dev/null 2>&1 || true
  done
}
# An installer that installs does not quit for being asked.
end_children() {
  local child patience=40
  for child in "${!children[@]}"; do kill -TERM -- "-$child" 2>/dev/null || true; done
  for child in "${!children[@]}"; do
    while kill -0 -- "-$child" 2>/dev/null && [ "$patience" -gt 0 ]; do
      patience=$((patience - 1))
      sleep 0.05
    done
    kill -KILL -- "-$child" 2>/dev/null || true
  done
  wait 2>/dev/null || true
}
clean_up() {
  trap '' INT TERM HUP
  end_children
  close_machine
  detach_volumes
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
trap 'exit 129' HUP

wait_for() { # SECONDS COMMAND...
  local left=$(($1 * 20))
  shift
  until "$@"; do
    left=$((left - 1))
    [ "$left" -gt 0 ] || { echo "gave up waiting for: $*" >&2; exit 1; }
    sleep 0.05
  done
}

# The user's display, or a virtual one.
open_display() {
  if [ -n "${DISPLAY:-}" ]; then
    echo "yours: $DISPLAY"
    return
  fi
  # Without a reset, which refuses whoever connects at the moment when the last client has left.
  start Xvfb -displayfd 5 -screen 0 1000x720x24 -nolisten tcp -noreset 5>"$out/display" 2>/dev/null
  wait_for 20 test -s "$out/display"
  DISPLAY=:$(<"$out/display")
  export DISPLAY
  echo "none here, so a virtual one: $DISPLAY"
}
shot() { # NAME
  ffmpeg -nostdin -loglevel error -y -f x11grab -i "$DISPLAY" -frames:v 1 "$out/screenshots/$1.png"
  echo "  screenshot: $1"
}
shows_window() { # TITLE; there are others of that name, of a point or two
  xwininfo -root -tree 2>/dev/null | grep -E "\"$1\": .* [0-9]{3,}x[0-9]{3,}[+]" >/dev/null
}

# The server runs until its input ends; nobody else gets hold of that.
serve() { # BYTES-PER-SECOND OPTION...
  coproc SERVER { exec setsid "$build/serve-release" "$out" "$@" >"$out/server.log" 2>&1; }
  server=$SERVER_PID
  server_input=${SERVER[1]}
  children[$server]=1
  wait_for 600 is_served
}
is_served() {
  kill -0 "$server" 2>/dev/null || { cat "$out/server.log" >&2; exit 1; }
  [ -e "$out/port" ]
}
stop_serving() {
  exec {server_input}>&-
  finish "$server"
}

# What the installer on a machine has told its log.
events_of() { # MACHINE
  echo "$1/root/home/Library/Caches/test.mykavio.app.installer/events.jsonl"
}
has_event() { # MACHINE EVENT
  grep -qs "\"event\":\"$2\"" "$(events_of "$1")"
}
start_installer() { # MACHINE NAME-OF-LOG [VARIABLE=VALUE...]
  start env "${@:3}" "$build/rehearse-installer" "$1" >>"$out/$2.log" 2>&1
  installer=$!
}
finish_installer() {
  finish "$installer" && echo "  the installer has quit"
}
quit_installer() { # as closing the window does
  kill "$installer"
  finish_installer
}
installed_version() {
  sed -n '/CFBundleShortVersionString/{n;s/.*<string>\(.*\)<.*/\1/p}' "$out/root/Applications/Kavio.app/Contents/Info.plist"
}
