// The six temporary files of a manual booklet.
#pragma once

#include <string>
#include <string_view>

namespace jobshaper {

// Only their paths, each made of the directory, a fixed name and the job id. The users of the paths
// create, write and read the files.
struct BookletFiles {
  BookletFiles(std::string_view directory, std::string_view jobId);

  // Whether the paths are in the directory: false if the job id contains a "/".
  bool areInDirectory() const { return areInDirectory_; }

  // Deletes the files that exist. Ignores errors.
  void remove() const;

  std::string job;        // the reordered job
  std::string reordered;  // header, request for the first pass and odd pages
  std::string even;       // the even page being read; at the end all even pages, last first
  std::string newEven;    // the even pages before that one, last first
  std::string newOdd;     // the same for odd pages; used with orientation "Up" only
  std::string header;     // the header while the odd pages are reversed; "Up" only

 private:
  bool areInDirectory_;
};

}  // namespace jobshaper
