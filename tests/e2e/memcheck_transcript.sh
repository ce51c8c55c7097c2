#!/bin/sh
# Runs one AT transcript with the daemon under valgrind memcheck, then reads memcheck's verdict.
#
# usage: memcheck_transcript.sh TANDREL_SIM TRANSCRIPT DAEMON
#
# Passes when the transcript passes and memcheck saw no error and no memory
# definitely or indirectly lost when the daemon was stopped.
set -u
here=$(dirname "$0")
sim=$1
transcript=$2
daemon=$3
logs=$(mktemp -d "${TMPDIR:-/tmp}/tandrel-memcheck.XXXXXX") || exit 1
export TANDREL_MEMCHECK_DAEMON="$daemon" TANDREL_MEMCHECK_LOGS="$logs"

status=0
sh "$here/run_transcript.sh" "$sim" "$transcript" --daemon "$here/memcheck_daemon.sh" || status=1

set -- "$logs"/memcheck.*.log
if [ ! -e "$1" ]; then
    echo "memcheck wrote no log" >&2
    status=1
fi
for log in "$@"; do
    [ -e "$log" ] || continue
    if ! grep -q 'ERROR SUMMARY: 0 errors' "$log" || ! grep -q 'LEAK SUMMARY\|All heap blocks were freed' "$log"; then
        echo "memcheck found errors, or the daemon stopped before its leak check:" >&2
        cat "$log" >&2
        status=1
    else
        grep -E 'definitely lost|indirectly lost|ERROR SUMMARY' "$log" | sed 's/^==[0-9]*== */memcheck: /'
    fi
done
[ "$status" -eq 0 ] && rm -rf "$logs"
exit $status
