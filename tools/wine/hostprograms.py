"""Runs programs of this system for a Windows program, which has no hold of them under Wine.

hostexec.cpp, a Windows program, is the other side: it asks for one over the loopback
interface and stands for it there. Both speak in packets of a kind (a letter), the length of the
contents (four bytes) and the contents. To here: t token, a argument (the first is the program),
s start, i input, e its end; to there: o output, d diagnostics, x status. A program whose connection
breaks is killed.
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

MOST = 1 << 20  # bytes in a packet
ALLOWED = ("mosquitto", "openssl")


class Connection:
    def __init__(self, stream):
        self.stream = stream
        self.file = stream.makefile("rb")
        self.lock = threading.Lock()

    def receive(self):
        """Kind and contents; nothing when the other side has gone."""
        try:
            header = self.file.read(5)
            if len(header) == 5:
                kind, length = struct.unpack("!cI", header)
                return kind, self.file.read(length) if length <= MOST else b""
        except OSError:
            pass
        return None, b""

    def send(self, kind, contents):
        # Nobody listens to one who has gone.
        with contextlib.suppress(OSError), self.lock:
            self.stream.sendall(struct.pack("!cI", kind, len(contents)) + contents)

    def close(self):
        self.file.close()
        self.stream.close()


def forward(pipe, kind, connection):
    while data := pipe.read(1 << 16):
        connection.send(kind, data)


def run(program, arguments, folder, connection):
    # However this process ends, the program ends with it.
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
            connection.send(b"d", f"{name}: not to be run from here\n".encode())
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
    """What a Windows program in the prefix needs in its environment to have programs run."""
    token = secrets.token_hex()
    with tempfile.TemporaryDirectory() as folder, socket.socket() as listener:
        # Programs run here, so that "C:/folder/file" is a path for them, too, wherever it stands.
        (pathlib.Path(folder) / "C:").symlink_to(pathlib.Path(prefix) / "drive_c")
        (pathlib.Path(folder) / "Z:").symlink_to("/")
        listener.bind(("127.0.0.1", 0))
        listener.listen(100)
        threading.Thread(target=accept, args=(listener, token, folder), daemon=True).start()
        yield {"KVG_HOST_PORT": str(listener.getsockname()[1]), "KVG_HOST_TOKEN": token}
        listener.shutdown(socket.SHUT_RDWR)
