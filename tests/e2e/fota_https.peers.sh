# Two HTTPS update servers (openssl s_server -WWW) offering V2.1.0: the first with a certificate
# the service trusts (TANDREL_SIM_FOTA_CA names it), the second, @UNTRUSTED@, with one it does not.
. "$here/update_peers.sh"
update_package "$work/www" V2.1.0 fw-2.1.0.bin 307200
for cert in trusted untrusted; do
    openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=127.0.0.1 \
        -addext subjectAltName=IP:127.0.0.1 -keyout "$work/$cert.key" -out "$work/$cert.pem" \
        2> /dev/null || return 1
    port=$(peer_port)
    (cd "$work/www" && peer_start "$cert" openssl s_server -quiet -WWW -accept "127.0.0.1:$port" \
        -cert "$work/$cert.pem" -key "$work/$cert.key")
    peer_wait_tcp "$port"
    peer_set "$cert" "https://127.0.0.1:$port"
done
peer_set TANDREL_SIM_FOTA_SERVER "$trusted"
peer_set TANDREL_SIM_FOTA_CA "$work/trusted.pem"
peer_set UNTRUSTED "$untrusted"
