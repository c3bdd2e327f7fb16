#!/usr/bin/env python3
"""Confidential jobs, and jobs of clients without a driver, through real schedulers.

usage: confidential_test.py BUILD-DIRECTORY [UNITTEST-ARGUMENTS]

One scheduler is a print server that runs our entry program. The other is a client that knows its
queue by IPP alone.
"""

import pathlib
import re
import subprocess
import sys

import private_cups
from recorded_cups import APPLICATION, PrintedJob, RecordedTest

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
POSTSCRIPT = b"%!PS-Adobe-3.0\n%%BoundingBox: 0 0 595 842\n%%Pages: 2\n%%EndComments\n" + b"".join(
    b"%%%%Page: %d %d\n/Helvetica findfont 40 scalefont setfont 100 400 moveto (A page) show showpage\n" % (n, n)
    for n in (1, 2)) + b"%%Trailer\n%%EOF\n"
NOT_PRINTED = "Not printed: {} Cancel the job and print it again with{}."
BAD_PASSWORD = ("the PIN (job-password) is not 4 digits.", " another PIN")


class ConfidentialTest(RecordedTest):
    build = sys.argv[1]

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.port = private_cups.free_port()
        cls.cups.configure(f"Listen 127.0.0.1:{cls.port}\nDefaultShared Yes\n{POLICIES}")
        cls.document = cls.work / "document.ps"
        cls.document.write_bytes(POSTSCRIPT)
        cls.pdf = cls.work / "document-a4.pdf"
        subprocess.run(["gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", "-sDEVICE=pdfwrite",
                        "-sPAPERSIZE=a4", "-o", cls.pdf, cls.document], check=True, timeout=60)
        cls.cups.start()
        cls.add_queue("Office", "color-finisher")

    def received(self):
        """The jobs that have arrived at the printer, completely or in part."""
        return [job for job in self.printer.jobs if job]

    def next_job(self, count):
        """Waits for the job that follows this many jobs."""
        private_cups.wait_until(lambda: len(self.received()) > count, 20, "the next job")
        return self.received()[count]

    def print(self, options, queue="Office"):
        count = len(self.received())
        number = self.cups.lp(queue, self.document, {**APPLICATION, **options})
        state = self.cups.wait_for(number)
        return PrintedJob(self.cups, number, state, self.next_job(count))

    def keys(self, received):
        return re.findall(rb'@PJL SET HOLDTYPE = PRIVATE\n@PJL SET HOLDKEY = "(.*)"\n', received)

    def status_of(self, cups, number):
        """The status of an unfinished job, as its user sees it."""
        jobs = cups.command("lpstat", "-l", "-W", "not-completed", "-o")
        return re.search(rf"^\S+-{number} .*\n\s*(.*?)\s*$", jobs, re.M).group(1)

    def assert_no_trace_of(self, pin, number):
        """Only CUPS itself writes the PIN, with the arguments of a filter."""
        self.assertEqual([line for line in self.cups.log.lines_of(number)
                          if pin in line and not line.startswith("argv[5]=")], [])

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

    def test_bad_pins(self):
        # The queue goes on, whatever its policy for errors of the printer.
        rows = (
            ("abort-job", {"PrintTo": "JRConf"},
             ("a confidential job needs a PIN of 4 to 8 digits.", " JRHOLDKEY=PIN")),
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
            default = ["JRHOLDKEY=Custom.9999"] if row == len(rows) - 1 else []
            self.add_queue(f"Queue{row}", "color-finisher", f"printer-error-policy={policy}", *default)
            numbers.append(self.cups.lp(f"Queue{row}", self.document, {**APPLICATION, **options}))
        for row, (number, (policy, _, reason)) in enumerate(zip(numbers, rows)):
            with self.subTest(policy=policy, reason=reason):
                self.assertEqual(self.cups.wait_for(number), "stopped")
                self.assertEqual(self.status_of(self.cups, number), "Status: " + NOT_PRINTED.format(*reason))
                self.assertRegex(self.cups.command("lpstat", "-p", f"Queue{row}"), "is idle.*enabled since")
                self.assert_no_trace_of("47x11", number)
        self.assertEqual(len(self.received()), count)

        # The queue prints other jobs meanwhile.
        self.assertTrue(self.print({}, queue="Queue1").received)
        # How the user repairs a job that was refused, as the manual page says.
        count = len(self.received())
        repaired = str(numbers[2])
        self.cups.command("lp", "-i", repaired, "-o", "PrintTo=JRConf", "-o", "JRHOLDKEY=123456")
        self.cups.command("lp", "-i", repaired, "-H", "restart")
        self.assertEqual(self.keys(self.next_job(count)), [b"123456"])
        self.cups.command("cancel", str(numbers[0]))
        self.assertNotIn(f"Queue0-{numbers[0]} ", self.cups.command("lpstat", "-o"))

    # ---- clients without a driver

    def ipptool(self, path, file, *options):
        return subprocess.run(["ipptool", "-V", "2.0", "-I", *options,
                               f"ipp://localhost:{self.port}/{path}", file], cwd=self.work,
                              capture_output=True, text=True, timeout=120, check=False).stdout

    def test_what_other_users_see(self):
        for policy, pins in (("typical", ["123456"]), ("private", [])):
            self.add_queue(policy, "color-finisher", f"printer-op-policy={policy}")
            job = self.print({"PrintTo": "JRConf", "JRHOLDKEY": "123456", "job-password": "4711"},
                             queue=policy)
            answer = self.ipptool(f"jobs/{job.number}", "get-job-attributes.test", "-tv")
            self.assertIn("PrintTo (nameWithoutLanguage) = JRConf\n", answer)
            self.assertEqual(re.findall("JRHOLDKEY .*= (.*)", answer), pins)
            self.assertNotRegex(answer, "job-password|4711")

    def test_names(self):
        answer = self.ipptool("printers/Office", "get-printer-attributes.test", "-tv")
        names = re.findall(r"[\w.-]+", answer)
        wanted = {"auto", "tray-1", "by-pass-tray", "stationery", "stationery-bond", "stationery-colored",
                  "stationery-lightweight", "stationery-heavyweight", "monochrome", "color",
                  "custom_218x360mm_218x360mm"}
        self.assertEqual(wanted - set(names), set())
        # As ipp-2.0.test has it: no fraction of a millimeter.
        self.assertEqual([name for name in names if re.search(r"\..*\dmm$", name)], [])

    def test_conformance(self):
        last = 'NAME "Get-Job-Attributes Until Job Complete"\n'
        for path in IPP_TESTS.glob("ipp-*.test"):
            text = path.read_text().replace(last, last + 'DELAY "0.5,1"\n')  # instead of every 5 s
            (self.work / path.name).write_text(text)
            # The tests print documents that are not in their package, and do not wait for their end.
            for name in set(re.findall(r"FILE ([a-z]\S+)", text)):
                (self.work / name).parent.mkdir(parents=True, exist_ok=True)
                if name != self.pdf.name:
                    (self.work / name).write_bytes(b"RaS2")
        # ipp-everywhere.test includes ipp-2.0.test, and that includes ipp-1.1.test.
        self.add_queue("Tested", "color-finisher", uri=self.new_printer().uri)
        answer = self.ipptool("printers/Tested", "ipp-everywhere.test", "-t", "-f", self.pdf.name)
        self.assertEqual(re.findall(r"^ *(.*?) +\[FAIL\]", answer, re.M), [BEYOND_CUPS])
        self.assertGreaterEqual(answer.count("[PASS]"), 70)

    def test_client_without_a_driver(self):
        options = {
            "sides": "two-sided-short-edge", "finishings": "8", "print-color-mode": "monochrome",
            "media": "iso_a5_148x210mm", "output-bin": "finisher-bin-2", "job-password": "4711",
            "job-account-id": "Account 5", "job-accounting-user-id": "Zo\u00eb"}
        count = len(self.received())
        self.cups.lp("Office", self.pdf, options)
        client = private_cups.PrivateCups()
        self.addCleanup(client.stop)
        client.start()
        client.add_driverless_queue("Remote", self.port, "Office")
        self.next_job(count)
        good = client.lp("Remote", self.pdf, options)
        bad = client.lp("Remote", self.pdf, {"job-password": "x"})
        self.assertEqual(client.wait_for(good), "completed")
        for received in (self.next_job(count), self.next_job(count + 1)):
            for text in ("Feature: *Duplex DuplexTumble", "Feature: *PageSize A5",
                         "<< /Fold 2 /Staple 4>> setpagedevice", "OUTBIN = OPTIONALOUTBIN2",
                         "QCOLORMODEL = BLACK", 'HOLDTYPE = PRIVATE\n@PJL SET HOLDKEY = "4711"',
                         'QJOBCREDACCOUNTID = "Account 5"', 'QJOBCREDUSERNAME = "Zo\u00eb"'):
                self.assertIn(text, received.decode())

        # The user of the client sees the reason, until the server prints another job, and cancels the job there.
        refused = NOT_PRINTED.format(*BAD_PASSWORD)
        private_cups.wait_until(lambda: refused in self.status_of(client, bad), 20,
                                "what is wrong with the job")
        client.command("cancel", str(bad))
        client.wait_for(bad)
        private_cups.wait_until(lambda: "Office-" not in self.cups.command("lpstat", "-o"), 20,
                                "the end of the job at the server")
        self.assertEqual(len(self.received()), count + 2)


if __name__ == "__main__":
    private_cups.run_tests(sys.argv[2:])
