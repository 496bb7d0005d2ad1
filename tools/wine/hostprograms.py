"""Runs programs of this system for a Windows program, which cannot control them under Wine.

The Windows program hostexec.cpp connects to this one over the loopback interface. A packet is its
kind (a letter), the length of the contents (four bytes) and the contents. hostexec sends: t token,
a argument (the first is the program), s start, i input, e end of input. This side sends: o output,
d diagnostics, x status. When the connection breaks, the program is killed.
"""

import contextlib
import hmac
import os
import pathlib
import secrets
import shutil
import socket
import struct
import subprocess
import tempfile
import threading

MAX_PACKET = 1 << 20  # bytes
ALLOWED = ("mosquitto", "openssl")


class Connection:
    def __init__(self, stream):
        self.stream = stream
        self.file = stream.makefile("rb")
        self.lock = threading.Lock()

    def receive(self):
        """Kind and contents; None and b"" when the connection has ended."""
        try:
            header = self.file.read(5)
            if len(header) == 5:
                kind, length = struct.unpack("!cI", header)
                return kind, self.file.read(length) if length <= MAX_PACKET else b""
        except OSError:
            pass
        return None, b""

    def send(self, kind, contents):
        # The other side may have ended.
        with contextlib.suppress(OSError), self.lock:
            self.stream.sendall(struct.pack("!cI", kind, len(contents)) + contents)

    def close(self):
        self.file.close()
        self.stream.close()


def forward(pipe, kind, connection):
    while data := pipe.read(1 << 16):
        connection.send(kind, data)


def run(program, arguments, folder, connection):
    # The kernel kills the program when this process ends.
    process = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", program, *arguments], cwd=folder,
                               bufsize=0, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE)
    outputs = [threading.Thread(target=forward, args=(pipe, kind, connection))
               for pipe, kind in ((process.stdout, b"o"), (process.stderr, b"d"))]

    def report():
        for thread in outputs:
            thread.join()
        status = process.wait()
        connection.send(b"x", str(status if status >= 0 else 128 - status).encode())

    for thread in (*outputs, threading.Thread(target=report)):
        thread.start()
    while True:
        kind, contents = connection.receive()
        if kind == b"i":
            with contextlib.suppress(BrokenPipeError):
                process.stdin.write(contents)
        elif kind == b"e":
            process.stdin.close()
        else:
            process.kill()
            return


def serve(stream, token, folder):
    connection = Connection(stream)
    with contextlib.closing(connection):
        kind, contents = connection.receive()
        if kind != b"t" or not hmac.compare_digest(contents, token.encode()):
            return
        arguments = []
        kind, contents = connection.receive()
        while kind == b"a":
            arguments.append(contents.decode())
            kind, contents = connection.receive()
        if kind != b"s" or not arguments:
            return
        name = pathlib.Path(arguments[0]).name
        program = shutil.which(name, path=os.environ["PATH"] + ":/usr/sbin")
        if name not in ALLOWED or not program:
            connection.send(b"d", f"{name}: not installed, or not allowed here\n".encode())
            connection.send(b"x", b"126")
            return
        run(program, arguments[1:], folder, connection)


def accept(listener, token, folder):
    while True:
        try:
            stream, _address = listener.accept()
        except OSError:
            return
        threading.Thread(target=serve, args=(stream, token, folder), daemon=True).start()


@contextlib.contextmanager
def offered(prefix):
    """Starts the server; yields the environment variables by which hostexec finds it."""
    token = secrets.token_hex()
    with tempfile.TemporaryDirectory() as folder, socket.socket() as listener:
        # The programs' current folder: "C:/folder/file" is a valid path for them, too.
        (pathlib.Path(folder) / "C:").symlink_to(pathlib.Path(prefix) / "drive_c")
        (pathlib.Path(folder) / "Z:").symlink_to("/")
        listener.bind(("127.0.0.1", 0))
        listener.listen(100)
        threading.Thread(target=accept, args=(listener, token, folder), daemon=True).start()
        yield {"KVG_HOST_PORT": str(listener.getsockname()[1]), "KVG_HOST_TOKEN": token}
        listener.shutdown(socket.SHUT_RDWR)
