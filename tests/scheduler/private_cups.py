"""A private CUPS scheduler: private directories, a unix socket, no system service.

It runs as root, then its filters run as the user "lp", or as anybody else. Everything lies below
one new directory in /tmp and goes with stop(), at the latest when Python ends; the scheduler itself
ends even with a process that is killed.
"""

import atexit
import ctypes
import grp
import http.client
import os
import pathlib
import pwd
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

SYSTEM_BIN = pathlib.Path("/usr/lib/cups")
CUPSD = "/usr/sbin/cupsd"
# The log line that shows the final state of a job.
END_OF_JOB = re.compile(r"^Job (completed|canceled|aborted|stopped)\b", re.M)
SYSTEM_PATH = "/usr/sbin:/usr/bin:/sbin:/bin"


class Failure(Exception):
    """A failed step of a test, with a message for the developer."""


def wait_until(condition, seconds, what):
    """Polls until the condition returns a true value, and returns that."""
    end = time.monotonic() + seconds
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > end:
            raise Failure(f"waited {seconds} s for {what}")
        time.sleep(0.03)


def end_with_parent():
    """To be called in a child process: it ends when its parent ends."""
    pr_set_pdeathsig = 1
    ctypes.CDLL(None).prctl(pr_set_pdeathsig, signal.SIGTERM)


def what_is_missing():
    """Why a scheduler cannot run here, or None."""
    def become_lp():
        os.setgid(grp.getgrnam("lp").gr_gid)
        os.setuid(pwd.getpwnam("lp").pw_uid)
    try:
        if os.geteuid() == 0:
            subprocess.run(["true"], preexec_fn=become_lp, check=True)
    except (subprocess.SubprocessError, OSError):
        return "the scheduler runs filters as the user lp, which root cannot become here"
    return None


def run_tests(arguments):
    """Runs the tests of the program with these arguments of unittest, or prints why it cannot."""
    signal.signal(signal.SIGTERM, signal.default_int_handler)  # ends all processes that were started
    missing = what_is_missing()
    if missing:
        print("Skipped:", missing)
        sys.exit(77)
    unittest.main(argv=[sys.argv[0], *arguments], verbosity=2)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Log:
    """The lines of a log file that grows. A line that is still being written is not among them."""

    JOB = re.compile(r"\[Job (\d+)\] (.*)")

    def __init__(self, path):
        self._path = path
        self._size = 0
        self._lines = []
        self._lines_of = {}

    def lines(self):
        self._read()
        return self._lines

    def lines_of(self, job):
        """The lines of a job, without their times."""
        self._read()
        return self._lines_of.get(job, [])

    def _read(self):
        if not self._path.exists():
            return
        with open(self._path, "rb") as file:
            file.seek(self._size)
            text = file.read()
        whole = text[:text.rfind(b"\n") + 1]
        self._size += len(whole)
        for line in whole.decode(errors="replace").split("\n")[:-1]:
            self._lines.append(line)
            if of_job := self.JOB.search(line):
                self._lines_of.setdefault(int(of_job[1]), []).append(of_job[2])


class PrivateCups:
    def __init__(self):
        os.umask(0o022)  # the scheduler runs as another user
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="cups-", dir="/tmp"))
        self.directory.chmod(0o755)
        self.bin = self.directory / "bin"
        self.temp = self.directory / "tmp"
        self.log = Log(self.directory / "log" / "error_log")
        self.socket = self.directory / "cups.sock"
        self._cupsd = None
        atexit.register(self.stop)
        for name in ("etc/ppd", "bin/filter", "bin/backend", "cache", "run", "spool", "tmp",
                     "log", "home"):
            (self.directory / name).mkdir(parents=True)
        # As the scheduler creates it if it is missing.
        self.temp.chmod(0o1770)
        if os.geteuid() == 0:
            shutil.chown(self.temp, "root", "lp")
        self._link_system_programs()
        self._write_configuration()

    def _link_system_programs(self):
        for path in (SYSTEM_BIN / "filter").iterdir():
            (self.bin / "filter" / path.name).symlink_to(path)
        for name in ("daemon", "monitor", "notifier"):
            if (SYSTEM_BIN / name).exists():
                (self.bin / name).symlink_to(SYSTEM_BIN / name)
        # The package has its backends here, and copies them when it is configured.
        (self.bin / "backend" / "socket").symlink_to(SYSTEM_BIN / "backend-available" / "socket")
        (self.bin / "backend" / "ipp").symlink_to(SYSTEM_BIN / "backend" / "ipp")

    def _write_configuration(self):
        if os.geteuid() == 0:
            user, group, administrators = "lp", "lp", "root"
        else:
            # Numbers, because not every user has a name.
            user, group, administrators = os.geteuid(), os.getegid(), "root"
        files = f"""\
ServerRoot {self.directory}/etc
ServerBin {self.bin}
DataDir /usr/share/cups
CacheDir {self.directory}/cache
StateDir {self.directory}/run
RequestRoot {self.directory}/spool
TempDir {self.temp}
DocumentRoot {self.directory}/home
ErrorLog {self.directory}/log/error_log
AccessLog {self.directory}/log/access_log
PageLog {self.directory}/log/page_log
LogFilePerm 0644
Printcap
User {user}
Group {group}
SystemGroup {administrators}
"""
        daemon = f"""\
Listen {self.socket}
ServerName localhost
LogLevel debug
LogTimeFormat usecs
LogDebugHistory 0
MaxLogSize 0
Browsing No
DefaultAuthType None
WebInterface No
PreserveJobFiles Yes
MaxJobTime 120
JobKillDelay 20
ErrorPolicy abort-job
<Location />
  Order allow,deny
  Allow all
</Location>
<Policy default>
  JobPrivateAccess all
  JobPrivateValues none
  SubscriptionPrivateAccess all
  SubscriptionPrivateValues none
  <Limit All>
    Order deny,allow
  </Limit>
</Policy>
"""
        (self.directory / "etc" / "cups-files.conf").write_text(files)
        (self.directory / "etc" / "cupsd.conf").write_text(daemon)

    def configure(self, lines):
        """Adds lines to cupsd.conf, before start()."""
        with open(self.directory / "etc" / "cupsd.conf", "a") as file:
            file.write(lines)

    def add_filter(self, name, program, directory=""):
        """Copies a program to where the scheduler looks for filters, as a package installs it."""
        target = self.bin / "filter" / directory / name
        target.parent.mkdir(exist_ok=True)
        target.unlink(missing_ok=True)
        shutil.copyfile(program, target)
        target.chmod(0o755)
        return target

    def _program(self):
        return [CUPSD, "-c", self.directory / "etc" / "cupsd.conf",
                "-s", self.directory / "etc" / "cups-files.conf"]

    def start(self):
        self._cupsd = subprocess.Popen(
            [*self._program(), "-f"], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, cwd="/", env={"PATH": SYSTEM_PATH, "LANG": "C.UTF-8"},
            preexec_fn=end_with_parent)
        wait_until(self._answers, 15, "the scheduler")

    def _answers(self):
        if self._cupsd.poll() is not None:
            reason = subprocess.run([*self._program(), "-t"], stdout=subprocess.PIPE,
                                    stderr=subprocess.STDOUT, timeout=15, check=False).stdout
            raise Failure("the scheduler ended: " + reason.decode(errors="replace")
                          + "\n".join(self.log.lines()))
        with socket.socket(socket.AF_UNIX) as connection:
            try:
                connection.connect(str(self.socket))
            except OSError:
                return False
        return True

    def stop(self):
        """Ends the scheduler and removes its files. Can be called more than once."""
        if self._cupsd and self._cupsd.poll() is None:
            self._cupsd.terminate()
            try:
                self._cupsd.wait(15)
            except subprocess.TimeoutExpired:
                self._cupsd.kill()
                self._cupsd.wait()
        shutil.rmtree(self.directory, ignore_errors=True)

    def running(self):
        return self._cupsd is not None and self._cupsd.poll() is None

    def command(self, *arguments):
        """Runs a command of CUPS with this scheduler, and returns its output."""
        environment = {"PATH": SYSTEM_PATH, "CUPS_SERVER": str(self.socket),
                       "HOME": str(self.directory / "home"), "LANG": "C.UTF-8"}
        done = subprocess.run(arguments, env=environment, stdin=subprocess.DEVNULL, timeout=30,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        if done.returncode != 0:
            raise Failure(f"{arguments}: {done.stdout.decode(errors='replace')}")
        return done.stdout.decode(errors="replace")

    def add_queue(self, name, ppd, uri, *options):
        self.command("lpadmin", "-p", name, "-E", "-v", uri, "-P", ppd,
                     "-o", "printer-error-policy=abort-job", *options)

    def pages_of(self, job):
        """The lines of the page log for a job that has ended."""
        text = (self.directory / "log" / "page_log").read_text()
        return int(re.search(rf"^\S+ \S+ {job} \[[^]]*\] total (\d+) ", text, re.M).group(1))

    def ipp_answer(self, queue):
        """The attributes of a queue for IPP clients: the bytes of a Get-Printer-Attributes response."""
        def attribute(tag, name, value):
            return struct.pack(">BH", tag, len(name)) + name + struct.pack(">H", len(value)) + value
        request = (b"\x02\x00\x00\x0b\x00\x00\x00\x01\x01" +
                   attribute(0x47, b"attributes-charset", b"utf-8") +
                   attribute(0x48, b"attributes-natural-language", b"en") +
                   attribute(0x45, b"printer-uri", f"ipp://localhost/printers/{queue}".encode()) +
                   b"\x03")
        connection = http.client.HTTPConnection("localhost")
        connection.sock = socket.socket(socket.AF_UNIX)
        connection.sock.connect(str(self.socket))
        connection.request("POST", f"/printers/{queue}", request, {"Content-Type": "application/ipp"})
        try:
            return connection.getresponse().read()
        finally:
            connection.close()

    def lp(self, queue, file, options=None, user="ada", title=None):
        """Prints a file, and returns the number of the job."""
        command = ["lp", "-d", queue, "-U", user]
        if title is not None:
            command += ["-t", title]
        for name, value in (options or {}).items():
            # In lp, too, a backslash escapes the character after it, as in option strings.
            quoted = "".join("\\" + c if c in " \t\n'\"\\{}" else c for c in value)
            command += ["-o", f"{name}={quoted}"]
        answer = self.command(*command, "--", str(file))
        return int(answer.split("request id is ")[1].split()[0].rsplit("-", 1)[1])

    def cancel(self, job):
        self.command("cancel", str(job))

    def wait_for(self, job, seconds=60):
        """Waits until a job has ended, and all programs that the scheduler started for it."""
        def ended():
            lines = "\n".join(self.log.lines_of(job))
            started = set(re.findall(r"^Started (?:filter|backend) .*\(PID (\d+)\)$", lines, re.M))
            return (END_OF_JOB.search(lines)
                    and started <= set(re.findall(r"^PID (\d+) \(", lines, re.M)))
        wait_until(ended, seconds, f"the end of job {job}")

    def state_of(self, job):
        """"completed", "canceled", "aborted", or "stopped", of a job that has ended."""
        return END_OF_JOB.search("\n".join(self.log.lines_of(job))).group(1)
