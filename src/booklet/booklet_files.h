// The six temporary files of a manual booklet.
#pragma once

#include <string>
#include <string_view>

namespace jobshaper {

// Their paths: the directory, a fixed name and the job id. The files themselves are made, read and
// written by those who use them.
struct BookletFiles {
  BookletFiles(std::string_view directory, std::string_view jobId);

  // Whether the job id names files in the directory, and not elsewhere.
  bool areInDirectory() const { return areInDirectory_; }

  // Deletes those that exist.
  void remove() const;

  std::string job;        // the reordered job
  std::string reordered;  // header, first pass request and odd pages
  std::string even;       // the even page that was read last; at the end all even pages
  std::string newEven;    // the even pages before that one, last first
  std::string newOdd;     // likewise for odd pages; "Up" only
  std::string header;     // "Up" only

 private:
  bool areInDirectory_;
};

}  // namespace jobshaper
