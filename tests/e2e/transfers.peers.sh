# Web, FTP and mail servers on the loopback interface, and a port nobody listens on.
for py in python3 /usr/bin/python3; do
    "$py" -c 'import pyftpdlib, aiosmtpd' 2> /dev/null && break
done
mkdir -p "$work/www" "$work/ftp/pub"
printf 'A\000\r\n\377Z' > "$work/www/blob.bin"
head -c 10001 /dev/zero > "$work/www/big.bin"
printf 'notes\n' > "$work/ftp/pub/notes.txt"
http=$(peer_port)
peer_start http "$py" -m http.server --bind 127.0.0.1 "$http" --directory "$work/www"
# Answers every request after 3 s, later than a command waits.
slow=$(peer_port)
peer_start slow "$py" -c '
import http.server, sys, time
class Slow(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        time.sleep(3)
        self.send_response(200)
        self.send_header("Content-Length", "10")
        self.end_headers()
        self.wfile.write(b"late body\n")
http.server.ThreadingHTTPServer(("127.0.0.1", int(sys.argv[1])), Slow).serve_forever()' "$slow"
ftp=$(peer_port)
peer_start ftp "$py" -m pyftpdlib -i 127.0.0.1 -p "$ftp" -d "$work/ftp"
smtp=$(peer_port)
peer_start smtp "$py" -u -m aiosmtpd -n -l "127.0.0.1:$smtp"
# A web server over TLS whose certificate, made here, nobody vouches for.
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 1 \
    -subj /CN=localhost -keyout "$work/tls.key" -out "$work/tls.pem" 2>/dev/null || return 1
tls=$(peer_port)
peer_start tls sh -c 'cd "$2/www" && exec openssl s_server -quiet -WWW -accept "127.0.0.1:$1" \
    -cert "$2/tls.pem" -key "$2/tls.key" < /dev/null' tls "$tls" "$work"
for port in "$http" "$slow" "$ftp" "$smtp" "$tls"; do
    peer_wait_tcp "$port" || return 1
done
peer_set HTTP "$http"
peer_set SLOW "$slow"
peer_set FTP "$ftp"
peer_set TLS "$tls"
peer_set CLOSED "$(peer_port)"
peer_set TANDREL_SIM_SMTP "127.0.0.1:$smtp"

# The mail server got one mail, with its recipient, subject and body.
peers_check() {
    grep -q '^To: <user@example.org>' "$work/smtp.log" &&
        grep -q '^Subject: greetings' "$work/smtp.log" &&
        grep -q '^hello from the module' "$work/smtp.log" ||
        { cat "$work/smtp.log" >&2; return 1; }
}
