// Which pages of a document share a side of a booklet.
#pragma once

#include <vector>

namespace jobshaper {

inline constexpr int kBlankPage = 0;

// A page of each half, counted from 1, or kBlankPage.
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

// The sides of a booklet of so many pages, two for each sheet, from the outermost sheet inward: the
// order of CUPS. The pages run through the cover, and blank pages fill up its end. If a face of the
// cover is to stay blank, the cover gets the first and the last pages on its other faces, and the
// blank pages come before its back.
std::vector<Side> bookletSides(int pages, const CoverFaces& faces);

}  // namespace jobshaper
