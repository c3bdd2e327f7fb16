// Opening and closing the diagnostic log.
#pragma once

namespace jobshaper {

// Reads the settings file and opens the debug file, the first time it is called. The calls that
// depend on the level call it first. Writes "tmp at DIRECTORY \n" to standard error.
void setupDebug();

// Writes a last record to the socket and the debug file and closes them. Does not reset the state,
// so nothing may be logged afterwards. The filter does not call it; its log ends with the process.
void closeDebugSession();

}  // namespace jobshaper
