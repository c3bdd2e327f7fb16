"""Runs a command with limits of time and memory, and ends all processes that it has started."""

import os
import signal
import subprocess
import threading

# When this is set, commands that are still running are killed.
stopping = threading.Event()
running = set()


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
    """Returns the exit status, or None after a timeout, and the output. A process of the command that uses
    more than `cpu_seconds` is killed, which limits endless loops even on a busy machine."""
    cpu = [f"--cpu={int(cpu_seconds) + 1}"] if cpu_seconds else []
    process = subprocess.Popen(
        ["prlimit", f"--as={6 << 30}", f"--fsize={12 << 30}", "--core=0", *cpu, *command],
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
        text=True, encoding="latin-1", start_new_session=True, **options)
    running.add(process)
    if stopping.is_set():
        kill_group(process)
    try:
        output, _ = process.communicate(timeout=max(seconds, 1))
        return process.returncode, output
    except subprocess.TimeoutExpired:
        kill_group(process)
        return None, process.communicate()[0]
    finally:
        kill_group(process)
        process.wait()
        running.discard(process)
