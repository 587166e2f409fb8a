"""A way to the event server that watches the frames."""
import contextlib
import socket
import threading

PING = 9
PONG = 10
LONGER_LENGTHS = {126: 2, 127: 8}


class Relay:
    """Passes one connection on, from a port of its own. `frames` grows by (sender, opcode) for each frame."""

    def __init__(self, target):
        self.frames = []
        self.target = target
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.url = "ws://127.0.0.1:%d" % self.listener.getsockname()[1]
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        with self.listener:
            client, _ = self.listener.accept()
        with client, socket.create_connection(self.target) as server:
            forth = threading.Thread(target=self.pass_on, args=("client", client, server), daemon=True)
            forth.start()
            self.pass_on("server", server, client)
            forth.join()

    def pass_on(self, sender, source, sink):
        with contextlib.suppress(OSError), source.makefile("rb") as stream:
            line = None
            while line not in (b"\r\n", b""):
                line = stream.readline()
                sink.sendall(line)
            while head := stream.read(2):
                self.frames.append((sender, head[0] & 0x0F))
                sink.sendall(head + rest_of_frame(head[1], stream))
            sink.shutdown(socket.SHUT_WR)


def rest_of_frame(second_byte, stream):
    length = second_byte & 0x7F
    longer_length = stream.read(LONGER_LENGTHS.get(length, 0))
    if longer_length:
        length = int.from_bytes(longer_length, "big")
    mask = stream.read(4 if second_byte & 0x80 else 0)
    return longer_length + mask + stream.read(length)
