# Peers of ipnet_ssl.at on 127.0.0.1: an openssl s_server with a certificate
# for "localhost" made here, which sends what is written into $work/tls.in
# and logs what it receives, and a server that accepts and never speaks.
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 1 \
    -subj /CN=localhost -addext subjectAltName=DNS:localhost \
    -keyout "$work/server.key" -out "$work/server.pem" 2>/dev/null || return 1
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 1 \
    -subj /CN=localhost -keyout "$work/other.key" -out "$work/other.pem" 2>/dev/null || return 1
mkfifo "$work/tls.in"
tls=$(peer_port)
mute=$(peer_port)
peer_start tls sh -c 'exec openssl s_server -quiet -accept "127.0.0.1:$1" -cert "$2/server.pem" \
    -key "$2/server.key" <> "$2/tls.in"' tls "$tls" "$work"
peer_start mute python3 -c 'import socket, sys, time
s = socket.socket(); s.bind(("127.0.0.1", int(sys.argv[1]))); s.listen(8); time.sleep(600)' "$mute"
peer_wait_tcp "$tls" && peer_wait_tcp "$mute" || return 1
peer_set TLS "$tls"
peer_set MUTE "$mute"
peer_set WORK "$work"
peers_check() {
    grep -q hello "$work/tls.log"
}
