// Linked into the programs of sanitizer builds: what libcups itself does not free is no finding.

// The names of media that ppdClose() leaves after cupsMarkOptions() with a paper size.
extern "C" const char* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions() { return "leak:_ppdCacheCreateWithPPD\n"; }
