#include "queue/booklet_order.h"

#include <algorithm>
#include <cstddef>

namespace jobshaper {

namespace {

// The pages of the booklet from its front to its back, four for each sheet.
std::vector<int> pagesInReadingOrder(int pages, const CoverFaces& faces) {
  std::vector<int> order;
  std::vector<int> back;  // of the cover: the outside face first
  if (faces == CoverFaces{}) {
    for (int page = 1; page <= pages; ++page) order.push_back(page);
  } else {
    int first = 1;
    int last = pages;
    for (const bool printed : {faces.outsideFront, faces.insideFront}) {
      order.push_back(printed && first <= last ? first++ : kBlankPage);
    }
    for (const bool printed : {faces.outsideBack, faces.insideBack}) {
      back.push_back(printed && first <= last ? last-- : kBlankPage);
    }
    while (first <= last) order.push_back(first++);
  }
  while ((order.size() + back.size()) % 4 != 0) order.push_back(kBlankPage);
  order.insert(order.end(), back.rbegin(), back.rend());
  return order;
}

}  // namespace

std::vector<Side> bookletSides(int pages, const CoverFaces& faces) {
  const std::vector<int> order = pagesInReadingOrder(pages, faces);
  std::vector<Side> sides;
  for (std::size_t left = order.size(), right = 0; right < left; ++right) {
    --left;
    const bool outside = right % 2 == 0;
    sides.push_back(outside ? Side{order[left], order[right]} : Side{order[right], order[left]});
  }
  return sides;
}

}  // namespace jobshaper
