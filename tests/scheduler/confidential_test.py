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

from private_cups import POLICY, PrivateCups, free_port, run_tests, wait_until
from recorded_cups import APPLICATION, RecordedTest

# The only test that may fail: it needs something that these queues do not support.
BEYOND_CUPS = "PWG 5100.14 section 5.1/5.2 - Required Operations and Attributes"
PORT = free_port()
BAD_PASSWORD = "Not printed: the PIN (job-password) is not 4 digits. Cancel the job and print it again"


def keys(received):
    return re.findall(rb'@PJL SET HOLDTYPE = PRIVATE\n@PJL SET HOLDKEY = "(.*)"\n', received)


class ConfidentialTest(RecordedTest):
    pages = 2
    # The privacy that CUPS has by default, and the one that docs/driverless.md recommends.
    configuration = (f"Listen 127.0.0.1:{PORT}\nDefaultShared Yes\n" + POLICY.format("typical", "")
                     + POLICY.format("private", "JobPrivateValues default JRHOLDKEY"))

    def status_of(self, cups, number):
        """The status of an unfinished job, as its user sees it."""
        jobs = cups.command("lpstat", "-l", "-W", "not-completed", "-o")
        return re.search(rf"^\S+-{number} .*\n\s*(.*?)\s*$", jobs, re.M).group(1)

    def assert_no_trace_of(self, pin, number):
        """Only CUPS itself writes the PIN, with the arguments of a filter."""
        self.assertEqual([line for line in self.cups.log_of(number)
                          if pin in line and not line.startswith("argv[5]=")], [])

    # ---- PINs

    def test_good_pins(self):
        self.cups.add_printer("Good", "color-finisher")
        rows = (({"PrintTo": "JRConf", "JRHOLDKEY": "Custom.4711"}, "4711"),
                ({"PrintTo": "JRConf", "JRHOLDKEY": "12345678"}, "12345678"),
                ({"job-password": "0042"}, "0042"),
                ({"PrintTo": "JRVerify", "job-password": "4711"}, "4711"))
        sent = [self.cups.send("Good", self.postscript, {**APPLICATION, **options})
                for options, _ in rows]
        for (options, key), finish in zip(rows, sent):
            with self.subTest(options):
                job = finish()
                self.assertEqual(keys(job.received), [key.encode()])
                # CUPS itself has not put it into the document.
                self.assertNotIn(key.encode(), job.input.read_bytes())
                self.assert_no_trace_of(key, job.number)

    def test_bad_pins(self):
        rows = (("abort-job", {"PrintTo": "JRConf"}, "a confidential job needs a PIN of 4 to 8 digits."),
                ("stop-printer", {"PrintTo": "JRConf", "JRHOLDKEY": "Custom.47x11"},
                 "the PIN (JRHOLDKEY) is not 4 to 8 digits."),
                ("retry-job", {"job-password": "47x11"}, "the PIN (job-password) is not 4 digits."),
                ("retry-current-job", {"job-password": "4711", "job-password-encryption": "sha2-256"},
                 "the printer cannot read an encrypted PIN (job-password-encryption)."))
        numbers = {}
        for policy, options, _ in rows:
            self.cups.add_printer(policy, "color-finisher", f"printer-error-policy={policy}")
            numbers[policy] = str(self.cups.lp(policy, self.postscript, {**APPLICATION, **options}))
        # The queue goes on, whatever its policy for errors of the printer.
        for policy, options, reason in rows:
            with self.subTest(policy):
                self.assertEqual(self.cups.wait_for(numbers[policy]), "stopped")
                self.assertRegex(self.status_of(self.cups, numbers[policy]), re.escape(
                    f"Status: Not printed: {reason} Cancel the job and print it again with"))
                self.assertRegex(self.cups.command("lpstat", "-p", policy), "is idle.*enabled since")
                self.assert_no_trace_of("47x11", numbers[policy])
        self.assertTrue(self.cups.send("stop-printer", self.postscript, APPLICATION)().received)
        # How the user repairs a job that was refused, as the manual page says.
        repaired, canceled = numbers["retry-job"], numbers["abort-job"]
        self.cups.command("lp", "-i", repaired, "-o", "PrintTo=JRConf", "-o", "JRHOLDKEY=123456")
        self.cups.command("lp", "-i", repaired, "-H", "restart")
        self.assertEqual(keys(self.cups.printers["retry-job"].job(1)), [b"123456"])
        self.cups.command("cancel", canceled)
        self.assertNotIn(f"abort-job-{canceled} ", self.cups.command("lpstat", "-o"))
        self.assertEqual([len(self.cups.printers[policy].jobs) for policy in numbers], [0, 1, 1, 0])

    # ---- clients without a driver

    def ipptool(self, path, file, *options):
        command = ["ipptool", "-V", "2.0", "-I", *options, f"ipp://localhost:{PORT}/{path}", file]
        return subprocess.run(command, cwd=self.work, capture_output=True, text=True, timeout=120,
                              check=False).stdout

    def test_what_other_users_see(self):
        for policy, pins in (("typical", ["123456"]), ("private", [])):
            self.cups.add_printer(policy, "color-finisher", f"printer-op-policy={policy}")
            number = self.cups.lp(policy, self.postscript, {
                "PrintTo": "JRConf", "JRHOLDKEY": "123456", "job-password": "4711"})
            answer = self.ipptool(f"jobs/{number}", "get-job-attributes.test", "-tv")
            self.assertIn("PrintTo (nameWithoutLanguage) = JRConf\n", answer)
            self.assertEqual(re.findall("JRHOLDKEY .*= (.*)", answer), pins)
            self.assertNotRegex(answer, "job-password|4711")

    def test_names(self):
        self.cups.add_printer("Names", "color-finisher")
        answer = self.ipptool("printers/Names", "get-printer-attributes.test", "-tv")
        names = set(re.findall(r"[\w.-]+", answer))
        self.assertEqual({
            "auto", "tray-1", "by-pass-tray", "stationery", "stationery-bond", "stationery-colored",
            "stationery-lightweight", "stationery-heavyweight", "monochrome", "color",
            "custom_218x360mm_218x360mm"} - names, set())
        # As ipp-2.0.test has it: no fraction of a millimeter.
        self.assertEqual([name for name in names if re.search(r"\..*\dmm$", name)], [])

    def test_conformance(self):
        last = 'NAME "Get-Job-Attributes Until Job Complete"\n'
        for path in pathlib.Path("/usr/share/cups/ipptool").glob("ipp-*.test"):
            text = path.read_text().replace(last, last + 'DELAY "0.5,1"\n')  # instead of every 5 s
            (self.work / path.name).write_text(text)
            # The tests print documents that are not in their package, and do not wait for their end.
            for name in set(re.findall(r"FILE ([a-z]\S+)", text)) - {self.pdf.name}:
                (self.work / name).parent.mkdir(parents=True, exist_ok=True)
                (self.work / name).write_bytes(b"RaS2")
        # ipp-everywhere.test includes ipp-2.0.test, and that includes ipp-1.1.test.
        self.cups.add_printer("Tested", "color-finisher")
        answer = self.ipptool("printers/Tested", "ipp-everywhere.test", "-t", "-f", self.pdf.name)
        self.assertEqual(re.findall(r"^ *(.*?) +\[FAIL\]", answer, re.M), [BEYOND_CUPS])
        self.assertGreaterEqual(answer.count("[PASS]"), 70)

    def test_client_without_a_driver(self):
        options = {
            "sides": "two-sided-short-edge", "finishings": "8", "print-color-mode": "monochrome",
            "media": "iso_a5_148x210mm", "output-bin": "finisher-bin-2", "job-password": "4711",
            "job-account-id": "Account 5", "job-accounting-user-id": "Zo\u00eb"}
        printer = self.cups.add_printer("Office", "color-finisher")
        self.cups.lp("Office", self.pdf, options)
        client = PrivateCups()
        self.addCleanup(client.stop)
        client.start()
        client.add_driverless_queue("Remote", PORT, "Office")
        printer.job(1)
        good = client.lp("Remote", self.pdf, options)
        bad = client.lp("Remote", self.pdf, {"job-password": "x"})
        self.assertEqual(client.wait_for(good), "completed")
        for received in (printer.job(1), printer.job(2)):
            for text in ("Feature: *Duplex DuplexTumble", "Feature: *PageSize A5",
                         "<< /Fold 2 /Staple 4>> setpagedevice", "OUTBIN = OPTIONALOUTBIN2",
                         "QCOLORMODEL = BLACK", 'HOLDTYPE = PRIVATE\n@PJL SET HOLDKEY = "4711"',
                         'QJOBCREDACCOUNTID = "Account 5"', 'QJOBCREDUSERNAME = "Zo\u00eb"'):
                self.assertIn(text, received.decode())

        # The user of the client sees the reason, until the server prints another job, and cancels
        # the job there.
        wait_until(lambda: BAD_PASSWORD in self.status_of(client, bad), 20, "what is wrong with the job")
        client.command("cancel", str(bad))
        client.wait_for(bad)
        wait_until(lambda: "Office-" not in self.cups.command("lpstat", "-o"), 20,
                   "the end of the job at the server")
        self.assertEqual(len(printer.jobs), 2)


if __name__ == "__main__":
    run_tests(sys.argv[2:])
