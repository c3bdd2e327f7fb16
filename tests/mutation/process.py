"""Runs a command within limits of time and memory, and ends all that it has started."""

import os
import signal
import subprocess
import threading

# Set when the run is to end: commands that are still running are killed then.
stopping = threading.Event()
running = set()

LIMITS = ["prlimit", f"--as={6 << 30}", f"--fsize={12 << 30}", "--core=0"]


def kill_group(process):
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass


def stop():
    stopping.set()
    for process in list(running):
        kill_group(process)


def run(command, seconds, cpu_seconds=None, **options):
    """(exit status, or None after the time; output). A process of the command that uses more than
    `cpu_seconds` is killed: the limit for loops without end, whatever else the machine does."""
    cpu = [f"--cpu={int(cpu_seconds) + 1}"] if cpu_seconds else []
    process = subprocess.Popen([*LIMITS, *cpu, *command], stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                               start_new_session=True, **options)
    running.add(process)
    if stopping.is_set():
        kill_group(process)
    try:
        output, _ = process.communicate(timeout=max(seconds, 1))
        return process.returncode, output.decode("latin-1")
    except subprocess.TimeoutExpired:
        kill_group(process)
        return None, process.communicate()[0].decode("latin-1")
    finally:
        kill_group(process)
        process.wait()
        running.discard(process)
