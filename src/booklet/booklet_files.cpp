#include "booklet/booklet_files.h"

#include <unistd.h>

namespace jobshaper {

namespace {

std::string path(std::string_view directory, std::string_view name, std::string_view jobId) {
  std::string joined(directory);
  return joined.append(name).append(jobId);
}

}  // namespace

BookletFiles::BookletFiles(std::string_view directory, std::string_view jobId)
    : job(path(directory, "/qvn_manualPS", jobId)),
      reordered(path(directory, "/pageReOrdered", jobId)),
      even(path(directory, "/pageEven", jobId)),
      newEven(path(directory, "/newEvenOrder", jobId)),
      newOdd(path(directory, "/newOddOrder", jobId)),
      header(path(directory, "/headerPS", jobId)),
      areInDirectory_(jobId.find('/') == jobId.npos) {}

void BookletFiles::remove() const {
  for (const std::string* file : {&job, &reordered, &even, &newEven, &newOdd, &header}) {
    ::unlink(file->c_str());
  }
}

}  // namespace jobshaper
