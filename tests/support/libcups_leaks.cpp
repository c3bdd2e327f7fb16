// Linked into the programs of sanitizer builds that mark PPD files: what libcups itself does not
// free is not reported.

// NOLINTBEGIN(bugprone-reserved-identifier)
// The names of media, and the color presets, that ppdClose() leaves after cupsMarkOptions().
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:_ppdCacheCreateWithPPD\n"; }

// libcups has no frame pointers, so only this way the suppression finds the function.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() { return "fast_unwind_on_malloc=0"; }
// NOLINTEND(bugprone-reserved-identifier)
