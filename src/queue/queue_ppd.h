// The PPD file of a queue, with the choices of a job marked in it.
#pragma once

#include <memory>
#include <string>

struct ppd_file_s;

namespace jobshaper {

struct PpdCloser {
  void operator()(ppd_file_s* ppd) const;
};
using Ppd = std::unique_ptr<ppd_file_s, PpdCloser>;

// Opens the PPD file of one of our printers, if `path` is one. A file that cannot be used is
// reported on standard error: what is no regular file, is not a PPD file or of another maker, or
// is larger than any PPD file needs to be and would take libcups seconds to read.
Ppd openQueuePpd(const char* path);

}  // namespace jobshaper
