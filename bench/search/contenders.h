// Ways to find the best 25 records of a gallery.
#pragma once

#include <functional>
#include <vector>

#include "match/kernels/kernel.h"
#include "match/search.h"
#include "search/gallery.h"

namespace brairu::bench {

inline constexpr int kHits = 25;

// Searches one gallery for its probe.
using Search = std::function<std::vector<SearchHit>()>;

Search ownSearch(const GalleryPointer& gallery, const SearchKernel& kernel);

// The fastest kernel again, but one flag after the other, and no record is sent for ahead.
Search flagByFlagSearch(const GalleryPointer& gallery);

// A loop of three sums over the bytes of every record.
Search threeSumsSearch(const GalleryPointer& gallery);

// Null where the library was not there to build with.
[[gnu::weak]] Search faissSearch(const GalleryPointer& gallery);
[[gnu::weak]] Search simsimdSearch(const GalleryPointer& gallery);
[[gnu::weak]] Search usearchSearch(const GalleryPointer& gallery);

}  // namespace brairu::bench
