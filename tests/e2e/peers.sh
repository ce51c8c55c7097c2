# Peers of a transcript on the loopback interface; sourced by run_transcript.sh
# before the transcript of <theme>.peers.sh runs, in its work directory $work.
#
# <theme>.peers.sh starts the peers and names what the transcript uses:
#   port=$(peer_port)                       a free TCP port on 127.0.0.1
#   peer_start NAME COMMAND...              starts a peer in the background (log: $work/NAME.log)
#   peer_wait_tcp PORT                      waits until 127.0.0.1:PORT accepts connections
#   peer_set NAME VALUE                     "@NAME@" in the transcript stands for VALUE; NAME is
#                                           exported to the launcher and the daemon too
# It may define peers_check, run after the transcript: a non-zero status fails the test.
# Every peer is stopped when the test ends.

peer_port() {
    python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

peer_start() {
    name=$1
    shift
    "$@" > "$work/$name.log" 2>&1 &
    echo $! >> "$work/peers.pids"
}

peer_wait_tcp() {
    python3 - "$1" <<'PY' || { echo "peer on port $1 did not start" >&2; return 1; }
import socket, sys, time
for _ in range(100):
    try:
        socket.create_connection(("127.0.0.1", int(sys.argv[1])), 0.2).close()
        sys.exit(0)
    except OSError:
        time.sleep(0.1)
sys.exit(1)
PY
}

peer_set() {
    printf 's|@%s@|%s|g\n' "$1" "$2" >> "$work/peers.sed"
    export "$1=$2"
}

peers_stop() {
    [ -e "$work/peers.pids" ] || return 0
    while read -r pid; do
        kill "$pid" 2>/dev/null
    done < "$work/peers.pids"
    rm -f "$work/peers.pids"
}
