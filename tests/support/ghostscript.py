"""One Ghostscript for many jobs. Starting it takes longer than most of them."""

import os
import pathlib
import shutil
import subprocess
import tempfile


class Ghostscript:
    """Runs jobs on one device. The state of the interpreter is restored after each job."""

    END = b"=== end of job ==="

    def __init__(self, device, *arguments):
        self._directory = pathlib.Path(tempfile.mkdtemp())
        self._pages = self._directory / "pages"
        self._pages.mkdir()
        self._job = self._directory / "job.ps"
        self._process = subprocess.Popen(
            ["gs", "-q", "-dSAFER", "-dNOPAUSE", "-dNOPROMPT", f"--permit-file-read={self._job}",
             f"-sDEVICE={device}", *arguments, f"-sOutputFile={self._pages}/%d"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            env={**os.environ, "LC_ALL": "C"})

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self._process.kill()
        self._process.communicate()
        shutil.rmtree(self._directory)

    def run(self, job):
        """Returns the standard output of a job and the content of each page's file; after an error,
        neither."""
        self._job.write_bytes(job)
        self._process.stdin.write(
            b"/job.save save def {(%s) run} stopped {handleerror} if clear cleardictstack "
            b"job.save restore (%s) = flush\n" % (os.fsencode(self._job), self.END))
        self._process.stdin.flush()
        log = b""
        for line in self._process.stdout:
            if line.rstrip().endswith(self.END):
                log += line.rstrip().removesuffix(self.END)
                break
            log += line
        pages = []
        for path in sorted(self._pages.iterdir(), key=lambda path: int(path.name)):
            pages.append(path.read_bytes())
            path.unlink()
        if b"Error" in log or self._process.poll() is not None:
            print(log.decode(errors="replace"))
            return "", []
        return log.decode(), pages
