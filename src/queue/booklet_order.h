// Which pages of a document share a side of a booklet.
#pragma once

#include <vector>

namespace jobshaper {

inline constexpr int kBlankPage = 0;

// The number of the page on each half, counted from 1, or kBlankPage.
struct Side {
  int left = kBlankPage;
  int right = kBlankPage;
  bool operator==(const Side&) const = default;
};

// Which faces of the cover have pages of the document; the others stay blank.
struct CoverFaces {
  bool outsideFront = true;
  bool insideFront = true;
  bool insideBack = true;
  bool outsideBack = true;
  bool operator==(const CoverFaces&) const = default;
};

// Returns the sides of a booklet of this many pages (at least 1), two for each sheet, from the
// outermost sheet to the innermost, as CUPS orders them. If all faces of the cover have pages, the
// pages run from its front to its back, and blank pages fill the end. Otherwise the first and the
// last pages go on the faces that have pages, and the blank pages come before the back cover.
std::vector<Side> bookletSides(int pages, const CoverFaces& faces);

}  // namespace jobshaper
