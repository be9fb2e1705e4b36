"""The scripted web server's web sockets: raw frames, sent and read as a test tells. Imported by web_server.

An answer with "socket yes" has steps for a body, one a line, which are taken in order:

  upgrade [wrong|deaf|quiet]  answers 101 and begins to read; with a wrong key; without reading; recording nothing.
                  Each frame of the client is recorded like a request: method FRAME, the opcode for a target, "masked"
                  or "unmasked" with "fin" or "more" for a version, the payload for a body
  swallow         reads until the client ends the connection, and records nothing
  write HEX       sends bytes
  flood N HEX     sends them N times
  expect OPCODE   waits for a frame that was not waited for yet, letting others pass
  echo            sends messages back, answers pings, until the client closes, which it answers
  gate NAME       waits for the gate
  note TEXT       is recorded, too: method NOTE, the text for a target
  end [reset]     ends the connection; else it stays until the client ends it
"""
import base64
import hashlib
import queue
import select
import socket
import struct
import threading

PATIENCE_SECONDS = 30
CLOSE, PING, PONG = 8, 9, 10
FLOOD_PART = 1 << 18


class Ended(Exception):
    """The connection is of no more use."""


def frame(opcode, payload, is_last=True):
    length = len(payload)
    first = opcode | (0x80 if is_last else 0)
    if length < 126:
        return struct.pack("!BB", first, length) + payload
    if length < 65536:
        return struct.pack("!BBH", first, 126, length) + payload
    return struct.pack("!BBQ", first, 127, length) + payload


class SocketScript:
    """One connection's. `record` and `pass_gate` are the server's; `lines` are recorded with each frame."""

    def __init__(self, peer, head, lines, record, pass_gate):
        self.peer = peer
        self.head = head
        self.lines = lines
        self.record = record
        self.pass_gate = pass_gate
        self.frames = queue.Queue()
        self.lock = threading.Lock()  # a protected connection is not for two threads at once
        self.reader = None
        self.is_protected = hasattr(peer, "pending")

    def run(self, steps):
        try:
            for step in steps.decode("ascii").splitlines():
                verb, _, rest = step.partition(" ")
                getattr(self, "do_" + verb)(rest)
            if self.reader:
                self.reader.join()
        except Ended:
            pass

    def do_upgrade(self, how):
        key = ""
        for line in self.head[1:]:
            name, _, value = line.partition(":")
            if name.lower() == "sec-websocket-key":
                key = value.strip()
        key += "258EAFA5-E914-47DA-95CA-C5AB0DC85B11" if how != "wrong" else ""
        accept = base64.b64encode(hashlib.sha1(key.encode()).digest()).decode()
        self.send(
            "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
            f"Sec-WebSocket-Accept: {accept}\r\n\r\n".encode()
        )
        if how != "deaf":
            self.reader = threading.Thread(target=self.swallow if how == "quiet" else self.read_frames, daemon=True)
            self.reader.start()

    def do_swallow(self, _):
        self.swallow()

    def do_write(self, text):
        self.send(bytes.fromhex(text))

    def do_flood(self, text):
        times, data = text.split(" ")
        data, left = bytes.fromhex(data), int(times)
        at_once = max(1, FLOOD_PART // len(data))
        while left > 0:
            self.send(data * min(left, at_once))
            left -= at_once

    def do_expect(self, opcode):
        while self.next_frame()[0] != int(opcode):
            pass

    def do_echo(self, _):
        while True:
            opcode, payload, is_last = self.next_frame()
            if opcode == PING:
                self.send(frame(PONG, payload))
            elif opcode != PONG:
                self.send(frame(opcode, payload, is_last))
            if opcode == CLOSE:
                raise Ended

    def do_gate(self, name):
        self.pass_gate(name)

    def do_note(self, text):
        self.record(self.lines + [("method", "NOTE"), ("target", text), ("version", "")], b"")

    def do_end(self, how):
        if how == "reset":
            self.peer.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        # The thread that reads has to let go of it: before that nothing is closed.
        self.peer.shutdown(socket.SHUT_RD if how == "reset" else socket.SHUT_RDWR)
        if self.reader:
            self.reader.join()
        raise Ended

    def send(self, data):
        with self.lock:
            self.peer.sendall(data)

    def receive(self, size):
        if not self.is_protected:
            return self.peer.recv(size)
        if not self.peer.pending():
            select.select([self.peer], [], [], PATIENCE_SECONDS)
        with self.lock:
            return self.peer.recv(size)

    def read_exactly(self, size):
        parts = []
        while size:
            part = self.receive(min(size, 1 << 16))
            if not part:
                raise Ended
            parts.append(part)
            size -= len(part)
        return b"".join(parts)

    def read_frame(self):
        first, second = self.read_exactly(2)
        length = second & 0x7F
        if length == 126:
            (length,) = struct.unpack("!H", self.read_exactly(2))
        elif length == 127:
            (length,) = struct.unpack("!Q", self.read_exactly(8))
        is_masked = bool(second & 0x80)
        mask = self.read_exactly(4) if is_masked else bytes(4)
        payload = self.read_exactly(length)
        key = int.from_bytes((mask * (length // 4 + 1))[:length], "big")
        payload = (int.from_bytes(payload, "big") ^ key).to_bytes(length, "big")
        opcode, is_last = first & 0x0F, bool(first & 0x80)
        version = f"{'masked' if is_masked else 'unmasked'} {'fin' if is_last else 'more'}"
        self.record(self.lines + [("method", "FRAME"), ("target", opcode), ("version", version)], payload)
        return opcode, payload, is_last

    def read_frames(self):
        try:
            while True:
                self.frames.put(self.read_frame())
        except (Ended, OSError, ValueError):
            self.frames.put(None)

    def swallow(self):
        try:
            while self.receive(1 << 16):
                pass
        except OSError:
            pass

    def next_frame(self):
        try:
            read = self.frames.get(timeout=PATIENCE_SECONDS)
        except queue.Empty:
            read = None
        if read is None:
            raise Ended
        return read
