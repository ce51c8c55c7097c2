# An update server for transcripts: serves a directory on 127.0.0.1 with range requests, and can
# ask for credentials and hold a transfer at given bytes (as a slow link would) until the client
# leaves or the server is stopped. Writes its pid to PIDFILE once it listens; logs each request.
import argparse
import base64
import os
import sys
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

opt = argparse.ArgumentParser()
opt.add_argument("port", type=int)
opt.add_argument("dir")
opt.add_argument("pidfile")
opt.add_argument("--hold-at", default="", help="byte offsets, comma-separated")
opt.add_argument("--user", default="", help="USER:PASSWORD for basic authentication")
opt = opt.parse_args()
holds = sorted(int(h) for h in opt.hold_at.split(",") if h)


class Handler(BaseHTTPRequestHandler):
    def do_GET(self):
        auth = "Basic " + base64.b64encode(opt.user.encode()).decode()
        if opt.user and self.headers.get("Authorization") != auth:
            self.send_response(401)
            self.send_header("WWW-Authenticate", 'Basic realm="updates"')
            self.send_header("Content-Length", "0")
            self.end_headers()
            return
        try:
            with open(os.path.join(opt.dir, os.path.basename(self.path)), "rb") as f:
                data = f.read()
        except OSError:
            self.send_error(404)
            return
        rng = self.headers.get("Range", "")
        start = int(rng[6:-1]) if rng.startswith("bytes=") and rng.endswith("-") else 0
        print(f"GET {self.path} from {start}", file=sys.stderr, flush=True)
        self.send_response(206 if start else 200)
        if start:
            self.send_header("Content-Range", f"bytes {start}-{len(data) - 1}/{len(data)}")
        self.send_header("Content-Length", str(len(data) - start))
        self.end_headers()
        end = next((h for h in holds if h > start), len(data))
        self.wfile.write(data[start:end])
        self.wfile.flush()
        while end < len(data):
            time.sleep(1)

    def log_message(self, *args):
        pass


server = ThreadingHTTPServer(("127.0.0.1", opt.port), Handler)
server.daemon_threads = True
with open(opt.pidfile, "w") as f:
    f.write(str(os.getpid()))
server.serve_forever()
