// Paper numbering of the printing library: the numbers and names a queue's media
// and paper sources get. The standard papers' numbers come from the base library
// (plotcfg/standard_papers.h).
#pragma once

#include <string>
#include <vector>

#include <wx/cmndata.h>

#include "plotcfg/standard_papers.h"
#include "print/platform/printing.h"

namespace ut::papers {

// One paper of a queue with the number and name a device mode uses for it.
struct QueuePaper {
    short number = 0;
    std::wstring name;
    const platform::printing::Media* media = nullptr; // into the QueueDetails it came from
};

// The queue's media in its order: a media whose size is a standard paper's
// (within a millimetre, the lowest such number not yet taken by an earlier media)
// gets that number and the standard name; any other gets a driver-defined number
// from 256 up, derived from the media's identifier so that it stays the same while
// the queue keeps that media, and the media's own name. Names are made unique by
// a " (2)", " (3)" suffix.
std::vector<QueuePaper> queuePapers(const platform::printing::QueueDetails& queue);

// Paper sources of a queue as device-mode numbers: the common source names get the
// standard bin numbers (auto 7, top 1, bottom 2, middle 3, manual 4, envelope 5,
// tractor 8, large-capacity 11), others driver-defined numbers from 256 up,
// derived from the name. An empty name is the automatic source.
short sourceNumber(const platform::printing::QueueDetails& queue, const std::string& source);
// The queue's source for a number; empty when it has none.
std::string sourceName(const platform::printing::QueueDetails& queue, short number);

} // namespace ut::papers
