# An update server that asks for credentials and holds its transfers at 40 %, 70 % and 80 % of
# a 300 KiB package, as a slow link would; @RESTART@ stops it and starts it again on its port.
. "$here/update_peers.sh"
update_package "$work/www" V2.1.0 fw-2.1.0.bin 307200
port=$(peer_port)
update_server server "$port" "$work/www" --hold-at 122880,215040,245760 --user rehearsal:s3cret
peer_set TANDREL_SIM_FOTA_SERVER "http://127.0.0.1:$port"
peer_set WWW "$work/www"
cat > "$work/restart" <<EOF2
kill \$(cat "$work/server.pid")
work="$work" here="$here"
. "$here/peers.sh"; . "$here/update_peers.sh"
update_server server2 $port "$work/www" --user rehearsal:s3cret
EOF2
peer_set RESTART "sh $work/restart"

# Every resume asked for the rest of the package only.
peers_check() {
    grep -q "from 122880" "$work/server.log" && grep -q "from 215040" "$work/server.log" &&
        grep -q "from 245760" "$work/server2.log"
}
