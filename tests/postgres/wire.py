"""A way to a PostgreSQL server that fails on purpose: a TCP port before the server's socket, which counts the messages of
the protocol in both directions and cuts, halves or stalls a connection at one of them."""
import dataclasses
import pathlib
import socket
import struct
import threading

CLIENT, SERVER = "client", "server"  # whose messages
CUT, HALF, STALL = "cut", "half", "stall"


@dataclasses.dataclass(frozen=True)
class Fault:
    """What happens to the message of a connection, the first being number 0: it is not passed on, half of it is, or nothing
    more is, either way, and the connection stays open."""
    kind: str
    sender: str
    message: int
    connection: int = 0

    def __str__(self):
        return f"{self.kind} at message {self.message} of the {self.sender}"


class Wire:
    """Answers at `port` until it is closed. `messages` counts what the connections have passed on, by sender."""

    def __init__(self, folder, fault=None):
        self.server = str(pathlib.Path(folder) / ".s.PGSQL.5432")
        self.fault = fault
        self.struck = threading.Event()
        self.connections = []  # of (client, server) sockets
        self.messages = []     # of {sender: count}
        self.lock = threading.Lock()
        self.stalled = set()
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.listener.close()
        for number in range(len(self.connections)):
            self._end(number)

    def settings(self):
        """For a connection string."""
        return f"host=127.0.0.1 port={self.port} sslmode=disable gssencmode=disable"

    def _accept(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            server = socket.socket(socket.AF_UNIX)
            try:
                server.connect(self.server)
            except OSError:
                client.close()
                server.close()
                continue
            number = len(self.connections)
            self.connections.append((client, server))
            self.messages.append({CLIENT: 0, SERVER: 0})
            for sender, source, target in ((CLIENT, client, server), (SERVER, server, client)):
                threading.Thread(target=self._pass, args=(number, sender, source, target), daemon=True).start()

    def _end(self, number):
        for each in self.connections[number]:
            try:
                each.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def _read(self, source, count):
        data = b""
        while len(data) < count:
            part = source.recv(count - len(data))
            if not part:
                raise EOFError
            data += part
        return data

    def _pass(self, number, sender, source, target):
        """Message by message. The first one of a client has no letter before its length."""
        letter = 0 if sender == CLIENT else 1
        try:
            while True:
                head = self._read(source, letter + 4)
                (length,) = struct.unpack(">I", head[letter:])
                message = head + self._read(source, length - 4)
                letter = 1
                if not self._deliver(number, sender, message, target):
                    return
        except (OSError, EOFError):
            if number not in self.stalled:
                self._end(number)

    def _deliver(self, number, sender, message, target):
        with self.lock:
            at = self.messages[number][sender]
            self.messages[number][sender] += 1
            fault = self.fault
            strikes = fault and (fault.connection, fault.sender, fault.message) == (number, sender, at)
            if strikes and fault.kind == STALL:
                self.stalled.add(number)
        if strikes:
            self.struck.set()
            if fault.kind == STALL:
                return False
            if fault.kind == HALF:
                target.sendall(message[:len(message) // 2])
            self._end(number)
            return False
        if number in self.stalled:
            return False
        target.sendall(message)
        return True
