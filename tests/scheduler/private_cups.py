"""A private CUPS scheduler: private directories, a unix socket, no system service.

It runs as root, then its filters run as the user "lp", or as anybody else. Everything is below one
new directory in /tmp and goes with stop(), at the latest when Python ends; the scheduler itself
ends even with a process that is killed.
"""

import atexit
import ctypes
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

SYSTEM_BIN = pathlib.Path("/usr/lib/cups")
SYSTEM_PATH = "/usr/sbin:/usr/bin:/sbin:/bin"
FILES = """\
ServerRoot {directory}/etc
ServerBin {directory}/bin
CacheDir {directory}/cache
StateDir {directory}/run
RequestRoot {directory}/spool
TempDir {directory}/tmp
DocumentRoot {directory}/home
ErrorLog {directory}/log/error_log
AccessLog {directory}/log/access_log
PageLog {directory}/log/page_log
Printcap
User {user}
Group {group}
SystemGroup root
"""
DAEMON = """\
Listen {directory}/cups.sock
ServerName localhost
LogLevel debug
MaxLogSize 0
Browsing No
DefaultAuthType None
ErrorPolicy abort-job
<Location />
  Order allow,deny
  Allow all
</Location>
"""
# What anyone may do, and what is private.
POLICY = """
<Policy {}>
  {}
  <Limit All>
    Order deny,allow
  </Limit>
</Policy>
"""


class Failure(Exception):
    """A failed step of a test, with a message for the developer."""


def wait_until(condition, seconds, what):
    """Polls until the condition returns a true value, and returns that."""
    end = time.monotonic() + seconds
    while not (answer := condition()):
        if time.monotonic() > end:
            raise Failure(f"waited {seconds} s for {what}")
        time.sleep(0.02)
    return answer


def end_with_parent():
    """To be called in a child process: it ends when its parent ends."""
    pr_set_pdeathsig = 1
    ctypes.CDLL(None).prctl(pr_set_pdeathsig, signal.SIGTERM)


def end_by_sigterm():
    """Lets SIGTERM end this program like Ctrl-C, and with it all processes that it started."""
    signal.signal(signal.SIGTERM, signal.default_int_handler)


def run_tests(arguments):
    """Runs the tests of the program with these arguments of unittest, or prints why it cannot."""
    end_by_sigterm()
    try:
        if os.geteuid() == 0:
            subprocess.run(["true"], user="lp", group="lp", check=True)
    except (subprocess.SubprocessError, OSError):
        print("Skipped: the scheduler runs filters as the user lp, which root cannot become here")
        sys.exit(77)
    unittest.main(argv=[sys.argv[0], *arguments], verbosity=2)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class PrivateCups:
    def __init__(self):
        os.umask(0o022)  # the scheduler runs as another user
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="cups-", dir="/tmp"))
        self.directory.chmod(0o755)
        self.bin = self.directory / "bin"
        self.temp = self.directory / "tmp"
        self.socket = self.directory / "cups.sock"
        self._cupsd = None
        self._lines = []
        atexit.register(self.stop)
        for name in "etc/ppd bin/filter bin/backend cache run spool tmp log home".split():
            (self.directory / name).mkdir(parents=True)
        self._log = open(self.directory / "log" / "error_log", "a+b")
        # As the scheduler creates it if it is missing.
        self.temp.chmod(0o1770)
        user, group = "lp", "lp"
        if os.geteuid() == 0:
            shutil.chown(self.temp, "root", "lp")
        else:  # numbers, because not every user has a name
            user, group = os.geteuid(), os.getegid()
        for name, text in (("cups-files.conf", FILES), ("cupsd.conf", DAEMON)):
            self.configure(text.format(directory=self.directory, user=user, group=group), name)
        self.configure(POLICY.format("default", "JobPrivateValues none"))
        programs = [path.relative_to(SYSTEM_BIN) for path in (SYSTEM_BIN / "filter").iterdir()]
        for name in [*programs, "daemon", "monitor", "notifier", "backend/ipp"]:
            (self.bin / name).symlink_to(SYSTEM_BIN / name)
        # The package has its backends here, and copies them when it is configured.
        (self.bin / "backend" / "socket").symlink_to(SYSTEM_BIN / "backend-available" / "socket")

    def configure(self, lines, name="cupsd.conf"):
        """Adds lines to a configuration file, before start()."""
        with open(self.directory / "etc" / name, "a") as file:
            file.write(lines)

    def add_filter(self, program, name):
        """Copies a program to where the scheduler looks for filters, as a package installs it."""
        target = self.bin / "filter" / name
        target.parent.mkdir(exist_ok=True)
        target.unlink(missing_ok=True)
        shutil.copyfile(program, target)
        target.chmod(0o755)
        return target

    def start(self):
        # It writes to standard error what is wrong with its configuration.
        self._cupsd = subprocess.Popen(
            ["/usr/sbin/cupsd", "-f", "-c", self.directory / "etc" / "cupsd.conf",
             "-s", self.directory / "etc" / "cups-files.conf"], stdin=subprocess.DEVNULL, cwd="/",
            env={"PATH": SYSTEM_PATH, "LANG": "C.UTF-8"}, preexec_fn=end_with_parent)

        def answers():
            if not self.running():
                raise Failure("\n".join(["the scheduler ended:", *self.log()]))
            with socket.socket(socket.AF_UNIX) as connection:
                return connection.connect_ex(str(self.socket)) == 0
        wait_until(answers, 15, "the scheduler")

    def stop(self):
        """Ends the scheduler and removes its files. Can be called more than once."""
        if self.running():
            self._cupsd.terminate()
            self._cupsd.wait(60)
        shutil.rmtree(self.directory, ignore_errors=True)

    def running(self):
        return self._cupsd is not None and self._cupsd.poll() is None

    def log(self):
        """The lines of the scheduler's log, but one that is still being written."""
        while (line := self._log.readline()).endswith(b"\n"):
            self._lines.append(line.decode(errors="replace").rstrip("\n"))
        self._log.seek(-len(line), os.SEEK_CUR)
        return self._lines

    def log_of(self, job):
        """The lines of a job, without their times."""
        parts = (line.partition(f" [Job {job}] ") for line in self.log())
        return [text for _, found, text in parts if found]

    def command(self, *arguments):
        """Runs a command of CUPS with this scheduler, and returns its output."""
        environment = {"PATH": SYSTEM_PATH, "CUPS_SERVER": str(self.socket),
                       "HOME": str(self.directory / "home"), "LANG": "C.UTF-8"}
        done = subprocess.run(arguments, env=environment, stdin=subprocess.DEVNULL, timeout=30,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        output = done.stdout.decode(errors="replace")
        if done.returncode != 0:
            raise Failure(f"{arguments}: {output}")
        return output

    def add_queue(self, name, ppd, uri, *options):
        """Adds a queue with these options of lpadmin -o."""
        self.command("lpadmin", "-p", name, "-E", "-v", uri, "-P", ppd, "-o", "printer-is-shared=true",
                     *(word for option in options for word in ("-o", option)))

    def add_driverless_queue(self, name, port, queue):
        """Adds a queue that knows the queue of another scheduler, at a port, by IPP alone."""
        self.command("lpadmin", "-p", name, "-E", "-v", f"ipp://localhost:{port}/printers/{queue}",
                     "-m", "everywhere")
        wait_until((self.directory / "etc" / "ppd" / f"{name}.ppd").exists, 20, "its PPD file")

    def pages_of(self, job):
        """The pages of a job that has ended, according to the page log."""
        text = (self.directory / "log" / "page_log").read_text()
        return int(re.search(rf"^\S+ \S+ {job} \[[^]]*\] total (\d+) ", text, re.M).group(1))

    def lp(self, queue, file, options, *arguments):
        """Prints a file with more arguments of lp, and returns the number of the job."""
        words = ["-U", "ada", *arguments]
        for name, value in options.items():
            # In lp, too, a backslash escapes the character after it, as in option strings.
            words += ["-o", name + "=" + re.sub(r"([ \t\n'\"\\{}])", r"\\\1", value)]
        answer = self.command("lp", "-d", queue, *words, "--", file)
        return int(re.search(r"request id is \S+-(\d+) ", answer).group(1))

    def wait_for(self, job):
        """Waits until a job has ended, and all programs that the scheduler started for it. Returns
        its state: "completed", "canceled", "aborted" or "stopped"."""
        def state():
            lines = "\n".join(self.log_of(job))
            started = set(re.findall(r"^Started (?:filter|backend) .*\(PID (\d+)\)$", lines, re.M))
            end = re.search(r"^Job (completed|canceled|aborted|stopped)\b", lines, re.M)
            return (end and started <= set(re.findall(r"^PID (\d+) \(", lines, re.M))) and end[1]
        return wait_until(state, 60, f"the end of job {job}")
