// The process that reads the other end of a pipe.
#pragma once

namespace jobshaper {

// Waits until it has read all that was written, for at most five seconds. Does nothing for
// descriptors other than pipes.
void waitUntilRead(int descriptor);

}  // namespace jobshaper
