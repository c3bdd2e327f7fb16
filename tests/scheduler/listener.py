"""A printer on the loopback interface, which accepts jobs like a network printer on port 9100.

usage: listener.py DIRECTORY

Writes its device URI into DIRECTORY/uri and each job that it receives into DIRECTORY/NUMBER.prn, until
it is ended.
"""

import itertools
import pathlib
import socket
import struct
import sys
import threading

from private_cups import wait_until


class Listener:
    """Keeps the bytes of every job that it receives, in `jobs`. A connection without bytes is none.

    hold() makes it take connections without reading; release() lets it go on. If hang_up_at is
    set, it breaks the next connection off after so many bytes.
    """

    def __init__(self):
        self._server = socket.socket()
        # A small window, so that a job that is not read does not fit into the network buffers.
        self._server.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        self._server.bind(("127.0.0.1", 0))
        self._server.listen()
        self.uri = f"socket://127.0.0.1:{self._server.getsockname()[1]}/?snmp=false"
        self.jobs = []
        self.hang_up_at = float("inf")
        self._may_read = threading.Event()
        self.hold, self.release = self._may_read.clear, self._may_read.set
        self.release()
        threading.Thread(target=self._serve, daemon=True).start()

    def job(self, number, seconds=20):
        """Waits for the end of a job; the first is 1."""
        wait_until(lambda: len(self.jobs) >= number, seconds, f"the printer's job {number}")
        return self.jobs[number - 1]

    def _serve(self):
        while True:
            connection, _ = self._server.accept()
            with connection:
                if job := self._receive(connection):
                    self.jobs.append(job)

    def _receive(self, connection):
        connection.settimeout(60)
        job = bytearray()
        try:
            while self._may_read.wait(60) and (piece := connection.recv(4096)):
                job += piece
                if len(job) >= self.hang_up_at:
                    self.hang_up_at = float("inf")
                    # The connection is reset, not closed: bytes in transit are lost.
                    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                    break
        except OSError:
            pass
        return bytes(job)


def main(directory):
    directory.mkdir(parents=True)
    printer = Listener()

    def write(name, content):
        (directory / "new").write_bytes(content)
        (directory / "new").rename(directory / name)
    write("uri", printer.uri.encode() + b"\n")
    for number in itertools.count(1):
        write(f"{number}.prn", printer.job(number, float("inf")))


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]))
