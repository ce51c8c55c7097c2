# python's own http.server offering V2.1.0 in a package of 300 KiB.
. "$here/update_peers.sh"
update_package "$work/www" V2.1.0 fw-2.1.0.bin 307200
port=$(peer_port)
peer_start http python3 -m http.server --bind 127.0.0.1 "$port" --directory "$work/www"
peer_wait_tcp "$port"
peer_set TANDREL_SIM_FOTA_SERVER "http://127.0.0.1:$port"
peer_set WWW "$work/www"
