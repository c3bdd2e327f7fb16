"""A printer on the loopback interface, which accepts jobs like a network printer on port 9100.

usage: listener.py DIRECTORY

Writes its device URI into DIRECTORY/uri and each job that it receives into DIRECTORY/NUMBER.prn, until it
is ended.
"""

import pathlib
import socket
import struct
import sys
import threading
import time


class Listener:
    """Keeps the bytes of every job that it receives, in `jobs`.

    hold() makes it take connections without reading; release() lets it go on. After
    hang_up_after(n) it breaks the next connection off after n bytes.
    """

    def __init__(self):
        self._server = socket.socket()
        # A small window, so that a job that is not read does not fit into the network buffers.
        self._server.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        self._server.bind(("127.0.0.1", 0))
        self._server.listen()
        self.uri = f"socket://127.0.0.1:{self._server.getsockname()[1]}/?snmp=false"
        self.jobs = []
        self.connections = 0
        self._hang_up_at = None
        self._may_read = threading.Event()
        self.hold, self.release = self._may_read.clear, self._may_read.set
        self.release()
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def hang_up_after(self, size):
        self._hang_up_at = size

    def close(self):
        self.release()
        # close() alone does not wake a thread that waits in accept().
        self._server.shutdown(socket.SHUT_RDWR)
        self._thread.join(10)
        self._server.close()

    def _serve(self):
        while True:
            try:
                connection, _ = self._server.accept()
            except OSError:
                return
            with connection:
                self.connections += 1
                self._receive(connection)

    def _receive(self, connection):
        connection.settimeout(60)
        job = bytearray()
        try:
            while self._may_read.wait(60) and (piece := connection.recv(4096)):
                job += piece
                if self._hang_up_at is not None and len(job) >= self._hang_up_at:
                    self._hang_up_at = None
                    # The connection is reset, not closed: bytes in transit are lost.
                    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                    break
        except OSError:
            pass
        self.jobs.append(bytes(job))


def main(directory):
    directory.mkdir(parents=True)
    printer = Listener()

    def write(name, content):
        (directory / "new").write_bytes(content)
        (directory / "new").rename(directory / name)
    write("uri", printer.uri.encode() + b"\n")
    written = 0
    while True:
        if len(printer.jobs) > written:
            written += 1
            write(f"{written}.prn", printer.jobs[written - 1])
        time.sleep(0.1)


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]))
