#!/usr/bin/env python3
"""Confidential jobs, and jobs of clients without a driver, through real schedulers.

usage: confidential_test.py FILTER ENTRY-PROGRAM RECORDER PPD-DIRECTORY [UNITTEST-ARGUMENTS]

One scheduler is a print server that runs our entry program. The other is a client that knows its
queue by IPP alone.
"""

import pathlib
import re
import subprocess
import sys
import unittest

import listener
import private_cups
from recorded_cups import PrintedJob, RecordedCups

FILTER, ENTRY_PROGRAM, RECORDER, PPDS = (pathlib.Path(path).resolve() for path in sys.argv[1:5])
IPP_TESTS = pathlib.Path("/usr/share/cups/ipptool")
# The only test that may fail: it needs something that these queues do not support.
BEYOND_CUPS = "PWG 5100.14 section 5.1/5.2 - Required Operations and Attributes"
# The privacy that CUPS has by default, and the one that docs/driverless.md recommends.
POLICIES = "".join(f"""
<Policy {name}>
  {values}
  <Limit All>
    Order deny,allow
  </Limit>
</Policy>
""" for name, values in (("typical", ""), ("private", "JobPrivateValues default JRHOLDKEY")))
POSTSCRIPT = """\
%!PS-Adobe-3.0
%%BoundingBox: 0 0 595 842
%%Pages: 2
%%EndComments
%%Page: 1 1
/Helvetica findfont 40 scalefont setfont 100 400 moveto (A confidential page) show
showpage
%%Page: 2 2
/Helvetica findfont 40 scalefont setfont 100 400 moveto (Another one) show
showpage
%%Trailer
%%EOF
"""
GET_JOB = """{
  NAME "Get-Job-Attributes"
  OPERATION Get-Job-Attributes
  GROUP operation-attributes-tag
  ATTR charset attributes-charset utf-8
  ATTR language attributes-natural-language en
  ATTR uri printer-uri $uri
  ATTR integer job-id $job
  ATTR name requesting-user-name eve
  STATUS successful-ok
}
"""
NOT_PRINTED = "Not printed: {} Cancel the job and print it again with{}."
BAD_PASSWORD = ("the PIN (job-password) is not 4 digits.", " another PIN")


class ConfidentialTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.cups = RecordedCups(FILTER, ENTRY_PROGRAM, RECORDER)
        cls.addClassCleanup(cls.cups.stop)
        cls.port = private_cups.free_port()
        cls.cups.configure(f"Listen 127.0.0.1:{cls.port}\nDefaultShared Yes\n{POLICIES}")
        cls.printer = listener.Listener()
        cls.addClassCleanup(cls.printer.close)
        cls.work = cls.cups.directory / "work"
        cls.work.mkdir()
        cls.document = cls.work / "document.ps"
        cls.document.write_text(POSTSCRIPT)
        for page in ("a4", "letter"):
            cls.draw("pdfwrite", f"document-{page}.pdf", f"-sPAPERSIZE={page}")
        cls.cups.start()
        cls.add_queue("Office")

    @classmethod
    def draw(cls, device, name, *options):
        subprocess.run(["gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", f"-sDEVICE={device}",
                        *options, "-o", cls.work / name, cls.document], check=True, timeout=60)

    @classmethod
    def add_queue(cls, name, *options, uri=None):
        cls.cups.command("lpadmin", "-p", name, "-E", "-v", uri or cls.printer.uri, "-P",
                         PPDS / "quorvan-color-finisher.ppd", "-o", "printer-is-shared=true",
                         *options)

    def received(self):
        """The jobs that have arrived at the printer, completely or in part."""
        return [job for job in self.printer.jobs if job]

    def next_job(self, count):
        """Waits for the job that follows this many jobs."""
        private_cups.wait_until(lambda: len(self.received()) > count, 20, "the next job")
        return self.received()[count]

    def print(self, options, queue="Office"):
        count = len(self.received())
        number = self.cups.lp(queue, self.document, options)
        self.cups.wait_for(number)
        return PrintedJob(self.cups, number, self.next_job(count))

    def keys(self, received):
        return re.findall(rb'@PJL SET HOLDTYPE = PRIVATE\n@PJL SET HOLDKEY = "(.*)"\n', received)

    def status_of(self, cups, number):
        """The status of an unfinished job, as its user sees it."""
        lines = cups.command("lpstat", "-l", "-W", "not-completed", "-o").split("\n")
        at = next(i for i, line in enumerate(lines) if re.match(rf"\S+-{number} ", line))
        return lines[at + 1].strip()

    # ---- PINs

    def test_good_pins(self):
        for options, key in (
                ({"PrintTo": "JRConf", "JRHOLDKEY": "Custom.4711"}, b"4711"),
                ({"PrintTo": "JRConf", "JRHOLDKEY": "12345678"}, b"12345678"),
                ({"job-password": "0042"}, b"0042"),
                ({"PrintTo": "JRVerify", "job-password": "4711"}, b"4711")):
            with self.subTest(options):
                job = self.print(options)
                self.assertEqual(self.keys(job.received), [key])
                # CUPS itself has not put it into the document.
                self.assertNotIn(key, job.input.read_bytes())
                self.assert_no_trace_of(key.decode(), job.number)

    def assert_no_trace_of(self, pin, number):
        """Only CUPS itself writes the PIN, with the arguments of a filter."""
        lines = [line for line in self.cups.log.lines_of(number)
                 if pin in line and not line.startswith("argv[5]=")]
        self.assertEqual(lines, [])

    def test_bad_pins(self):
        # The queue goes on, whatever its policy for errors of the printer.
        rows = (
            ("abort-job", {"PrintTo": "JRConf"}, ("a confidential job needs a PIN of 4 to 8 digits.", " JRHOLDKEY=PIN")),
            ("stop-printer", {"PrintTo": "JRConf", "JRHOLDKEY": "Custom.47x11"},
             ("the PIN (JRHOLDKEY) is not 4 to 8 digits.", " another PIN")),
            ("retry-job", {"job-password": "47x11"}, BAD_PASSWORD),
            ("retry-current-job", {"job-password": "4711", "job-password-encryption": "sha2-256"},
             ("the printer cannot read an encrypted PIN (job-password-encryption).",
              "out encryption of the PIN, or with JRHOLDKEY")),
            ("abort-job", {"PrintTo": "JRConf"},
             ("the default PIN of the queue is not secret.", " a PIN of your own (JRHOLDKEY)")))
        count = len(self.received())
        numbers = []
        for row, (policy, options, _) in enumerate(rows):
            default = ("-o", "JRHOLDKEY=Custom.9999") if row == len(rows) - 1 else ()
            self.add_queue(f"Queue{row}", "-o", f"printer-error-policy={policy}", *default)
            numbers.append(self.cups.lp(f"Queue{row}", self.document, options))
        for row, (number, (policy, _, reason)) in enumerate(zip(numbers, rows)):
            with self.subTest(policy=policy, reason=reason):
                self.cups.wait_for(number)
                self.assertEqual(self.cups.state_of(number), "stopped")
                self.assertEqual(self.status_of(self.cups, number),
                                 "Status: " + NOT_PRINTED.format(*reason))
                self.assertRegex(self.cups.command("lpstat", "-p", f"Queue{row}"),
                                 "is idle.*enabled since")
                self.assert_no_trace_of("47x11", number)
        self.assertEqual(len(self.received()), count)

        # The queue prints other jobs meanwhile.
        self.assertTrue(self.print({}, queue="Queue1").received)
        # How the user repairs a job that was refused, as the manual page says.
        count = len(self.received())
        self.cups.command("lp", "-i", str(numbers[2]), "-o", "PrintTo=JRConf", "-o",
                          "JRHOLDKEY=123456")
        self.cups.command("lp", "-i", str(numbers[2]), "-H", "restart")
        self.assertEqual(self.keys(self.next_job(count)), [b"123456"])
        self.cups.cancel(numbers[0])
        self.assertNotIn(f"Queue0-{numbers[0]} ", self.cups.command("lpstat", "-o"))

    # ---- clients without a driver

    def ipptool(self, queue, file, *options):
        done = subprocess.run(["ipptool", "-V", "2.0", "-I", *options,
                               f"ipp://localhost:{self.port}/printers/{queue}", file],
                              cwd=self.work, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              timeout=120, check=False)
        return done.stdout.decode(errors="replace")

    def test_what_other_users_see(self):
        test = self.work / "get-job.test"
        test.write_text(GET_JOB)
        for policy, shown in (("typical", "JRHOLDKEY .*= 123456"), ("private", None)):
            self.add_queue(policy, "-o", f"printer-op-policy={policy}")
            job = self.print({"PrintTo": "JRConf", "JRHOLDKEY": "123456", "job-password": "4711"},
                             queue=policy)
            answer = self.ipptool(policy, test, "-tv", "-d", f"job={job.number}")
            self.assertIn("PrintTo (nameWithoutLanguage) = JRConf\n", answer)
            self.assertNotIn("job-password", answer)
            self.assertNotIn("4711", answer)
            if shown:
                self.assertRegex(answer, shown)
            else:
                self.assertNotIn("123456", answer)

    def test_conformance(self):
        # The tests print documents that are not in their package.
        for path in IPP_TESTS.glob("ipp-*.test"):
            (self.work / path.name).symlink_to(path)
        self.draw("jpeg", "color.jpg", "-r36")
        self.draw("jpeggray", "gray.jpg", "-r36")
        for page in ("a4", "letter"):
            (self.work / f"document-{page}.ps").symlink_to(self.document)
        for name in set(re.findall(r"FILE (pwg-raster\S+)",
                                   (IPP_TESTS / "ipp-everywhere.test").read_text())):
            path = self.work / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(b"RaS2")
        # ipp-everywhere.test includes ipp-2.0.test, and that includes ipp-1.1.test.
        printer = listener.Listener()  # a separate one, since the tests do not wait for their jobs
        self.addCleanup(printer.close)
        self.add_queue("Tested", uri=printer.uri)
        answer = self.ipptool("Tested", "ipp-everywhere.test", "-t", "-f", "document-a4.pdf")
        self.assertEqual(re.findall(r"^ *(.*?) +\[FAIL\]", answer, re.M), [BEYOND_CUPS])
        self.assertGreaterEqual(answer.count("[PASS]"), 70)

    def test_client_without_a_driver(self):
        client = private_cups.PrivateCups()
        self.addCleanup(client.stop)
        client.start()
        client.command("lpadmin", "-p", "Remote", "-E", "-v",
                       f"ipp://localhost:{self.port}/printers/Office", "-m", "everywhere")
        private_cups.wait_until((client.directory / "etc/ppd/Remote.ppd").exists, 20,
                                "the client's PPD file")
        options = {
            "sides": "two-sided-short-edge", "finishings": "8", "print-color-mode": "monochrome",
            "media": "iso_a5_148x210mm", "output-bin": "finisher-bin-2", "job-password": "4711",
            "job-account-id": "Account 5", "job-accounting-user-id": "Zo\u00eb"}
        for cups, queue in ((client, "Remote"), (self.cups, "Office")):
            count = len(self.received())
            number = cups.lp(queue, self.work / "document-a4.pdf", options)
            cups.wait_for(number)
            self.assertEqual(cups.state_of(number), "completed")
            received = self.next_job(count)
            for text in (b"Feature: *Duplex DuplexTumble", b"Feature: *PageSize A5",
                         b"<< /Fold 2 /Staple 4>> setpagedevice", b"OUTBIN = OPTIONALOUTBIN2",
                         b"QCOLORMODEL = BLACK", b'HOLDTYPE = PRIVATE\n@PJL SET HOLDKEY = "4711"',
                         b'QJOBCREDACCOUNTID = "Account 5"',
                         'QJOBCREDUSERNAME = "Zo\u00eb"'.encode()):
                self.assertTrue(text in received, (queue, text))

        # The user of the client sees the reason, and cancels the job there.
        count = len(self.received())
        number = client.lp("Remote", self.work / "document-a4.pdf", {"job-password": "x"})
        refused = NOT_PRINTED.format(*BAD_PASSWORD)
        private_cups.wait_until(lambda: refused in self.status_of(client, number), 20,
                                "what is wrong with the job")
        client.cancel(number)
        client.wait_for(number)
        private_cups.wait_until(lambda: "Office-" not in self.cups.command("lpstat", "-o"), 20,
                                "the end of the job at the server")
        self.assertEqual(len(self.received()), count)


if __name__ == "__main__":
    private_cups.run_tests(sys.argv[5:])
