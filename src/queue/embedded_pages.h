// Hides the pages of embedded documents, such as EPS pictures, from the filter: it divides a manual
// booklet at every "%%Page:" and "%%Trailer", whosever they are.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace jobshaper {

// For one part of a job in which each page and trailer comment belongs to an embedded document: a
// header, or a page without its first line.
class EmbeddedPages {
 public:
  // Receives bytes of the part in their order; they are valid during the call. Returns false to
  // stop.
  using Put = std::function<bool(std::string_view)>;

  explicit EmbeddedPages(Put put) : put_(std::move(put)) {}

  // Hands the next bytes of the part on, with a blank after the first percent sign of these
  // comments if they begin a line. Data between "%%BeginData" or "%%BeginBinary" and its end is not
  // changed. Returns false if Put did.
  bool take(std::string_view bytes);
  // Hands on what take() has kept. To be called once, after the last byte.
  bool finish();

 private:
  bool handOnStart();

  const Put put_;
  std::string start_;  // of a line, as long as it is not known which one it is
  bool inStart_ = true;
  bool inData_ = false;
};

}  // namespace jobshaper
