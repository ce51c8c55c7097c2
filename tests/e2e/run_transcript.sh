#!/bin/sh
# Runs one AT transcript through tandrel-sim --batch and compares the terminal's bytes.
#
# usage: run_transcript.sh TANDREL_SIM TRANSCRIPT [tandrel-sim options...]
#
# A transcript holds, in order:
#   > LINE      a line typed on the current port (sent with CR)
#   @DIRECTIVE  passed to the batch as it is (@port NAME, @type TEXT, @sync, @wait MS,
#               @notify ARGS)
#   < BYTES     bytes the terminal must receive; CR, LF and other bytes are written
#               <CR>, <LF>, <xHH>; successive "<" lines join without a break
#   # ...       a comment; blank lines are ignored
# A transcript that talks to peers has <theme>.peers.sh beside it (see peers.sh).
set -u
here=$(dirname "$0")
sim=$1
transcript=$2
shift 2
work=$(mktemp -d "${TMPDIR:-/tmp}/tandrel-e2e.XXXXXX") || exit 1
simpid=
peers=${transcript%.at}.peers.sh
: > "$work/peers.sed"
if [ -e "$peers" ]; then
    . "$here/peers.sh"
    trap 'peers_stop; rm -rf "$work"' EXIT
    . "$peers" || exit 1
else
    trap 'rm -rf "$work"' EXIT
fi
trap '[ -n "$simpid" ] && kill "$simpid" 2>/dev/null; exit 130' INT TERM

sed -f "$work/peers.sed" "$transcript" > "$work/transcript"
sed -n -e 's/^> //p' -e '/^@/p' "$work/transcript" > "$work/batch"

# Both sides in the same visible form: one diff line per LF received.
sed -n 's/^< //p' "$work/transcript" | tr -d '\n' | sed 's/<LF>/<LF>\n/g' | awk 1 > "$work/expected"

# In the background, so that a stop of this script (a test time-out) stops it too.
"$sim" --batch "$work/batch" "$@" > "$work/actual.bin" &
simpid=$!
wait "$simpid"
rc=$?
simpid=
od -An -v -tx1 "$work/actual.bin" | awk '
    BEGIN { for (i = 32; i < 127; i++) ch[sprintf("%02x", i)] = sprintf("%c", i)
            ch["3c"] = "<x3C>" }
    { for (i = 1; i <= NF; i++) {
          if ($i == "0d") printf "<CR>"
          else if ($i == "0a") printf "<LF>\n"
          else if ($i in ch) printf "%s", ch[$i]
          else printf "<x%s>", toupper($i)
      } }' | awk 1 > "$work/actual"

status=0
if ! diff -u --label "expected ($transcript)" --label actual "$work/expected" "$work/actual"; then
    status=1
fi
if [ "$rc" -ne 0 ]; then
    echo "tandrel-sim --batch exited with status $rc" >&2
    status=1
fi
if command -v peers_check > /dev/null && ! peers_check; then
    echo "the peers did not see what the transcript did" >&2
    status=1
fi
exit $status
