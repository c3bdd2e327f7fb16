// Hides the pages of embedded documents, such as EPS pictures, from the filter, which divides a
// manual booklet at every "%%Page:" and "%%Trailer", even at those of embedded documents.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "queue/data_section.h"

namespace jobshaper {

// Changes one part of a job: the header, or a page without its first line, so that each page and
// trailer comment in it belongs to an embedded document.
class EmbeddedPages {
 public:
  // Receives the changed bytes of the part in order; they are valid only during the call. Returns
  // false to stop.
  using Put = std::function<bool(std::string_view)>;

  explicit EmbeddedPages(Put put) : put_(std::move(put)) {}

  // Passes the next bytes of the part to Put, with a blank after the first percent sign of these
  // comments if they begin a line outside of data. Returns false if Put does.
  bool take(std::string_view bytes);
  // Passes what take() has kept. To be called once, after the last byte. Returns false if Put does.
  bool finish();

 private:
  bool putStart();

  const Put put_;
  std::string start_;  // of a line, until it is long enough to recognize
  bool inStart_ = true;
  DataSection data_;
};

}  // namespace jobshaper
