// Beginning and end of the diagnostic log.
#pragma once

namespace jobshaper {

// Reads the settings file and opens the destination. Every leveled call begins with it.
void setupDebug();

// Ends the destinations with a record each. The state is not reset: nothing may be logged
// after that. The filter never calls it: its log ends with the process.
void closeDebugSession();

}  // namespace jobshaper
