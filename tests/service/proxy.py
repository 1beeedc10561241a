"""proxy.py [NAME:PASSWORD]

An HTTP proxy on loopback that leads to the named port of this machine, whatever the host. Prints its own port, then a
line for each request. With a name and a password it wants to be given them, and answers with a page otherwise.
"""
import base64
import select
import socket
import socketserver
import sys

WANTED = base64.b64encode(sys.argv[1].encode()) if len(sys.argv) > 1 else None
PAGE = b"<!DOCTYPE html><title>Who are you?</title>"


class Proxy(socketserver.StreamRequestHandler):
    rbufsize = 0

    def answer(self, status, *lines, page=b""):
        head = [b"HTTP/1.1 " + status, *lines, b"Content-Length: %d" % len(page), b"Connection: close", b"", page]
        self.wfile.write(b"\r\n".join(head))

    def handle(self):
        method, target, _ = self.rfile.readline().decode().split()
        print(method, target, flush=True)
        head = []
        while (line := self.rfile.readline()) not in (b"\r\n", b""):
            head.append(line)
        if WANTED and b"Proxy-Authorization: Basic " + WANTED + b"\r\n" not in head:
            self.answer(b"407 Who Are You", b'Proxy-Authenticate: Basic realm="office"', page=PAGE)
            return
        authority = target if method == "CONNECT" else target.split("/")[2]
        try:
            peer = socket.create_connection(("127.0.0.1", int(authority.rpartition(":")[2])))
        except OSError:
            self.answer(b"502 Nobody There", page=PAGE)
            return
        with peer:
            if method == "CONNECT":
                self.wfile.write(b"HTTP/1.1 200 Go Ahead\r\n\r\n")
            else:
                path = target.split("/", 3)[3]
                peer.sendall(f"{method} /{path} HTTP/1.1\r\n".encode() + b"".join(head) + b"\r\n")
            self.relay(peer)

    def relay(self, peer):
        other = {self.request: peer, peer: self.request}
        while True:
            for ready in select.select(list(other), [], [])[0]:
                data = ready.recv(65536)
                if not data:
                    return
                other[ready].sendall(data)


class Server(socketserver.ThreadingTCPServer):
    daemon_threads = True
    allow_reuse_address = True


with Server(("127.0.0.1", 0), Proxy) as server:
    print(server.server_address[1], flush=True)
    server.serve_forever()
