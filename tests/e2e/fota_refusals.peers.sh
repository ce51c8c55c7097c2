# An update server whose manifest gives a SHA-256 its package does not have, holding its
# transfers at 40 %; @STOP@ stops it, @START@ starts it again without holding.
. "$here/update_peers.sh"
update_package "$work/www" V2.1.0 fw-2.1.0.bin 307200 \
    0000000000000000000000000000000000000000000000000000000000000000
port=$(peer_port)
update_server server "$port" "$work/www" --hold-at 122880
peer_set TANDREL_SIM_FOTA_SERVER "http://127.0.0.1:$port"
peer_set STOP "kill $(cat "$work/server.pid")"
printf 'work="%s" here="%s"\n. "$here/peers.sh"; . "$here/update_peers.sh"\n%s\n' \
    "$work" "$here" "update_server server2 $port $work/www" > "$work/start"
peer_set START "sh $work/start"

# The download went on from 40 % once the server was back.
peers_check() {
    grep -q "from 122880" "$work/server2.log"
}
