// The standard paper numbers' counterparts in the toolkit's paper enumeration and
// their sizes, shared with the printing library's print data and queue papers.
#pragma once

#include <wx/defs.h>

#include "drutils_export.h"

namespace ut::papers {

// The toolkit paper of a standard paper number; wxPAPER_NONE for 0, 48, 49 and
// numbers outside 1..118.
DRUTILS_API wxPaperSize toolkitPaper(int number);
// The standard number of a toolkit paper; 0 for none.
DRUTILS_API short numberOfToolkitPaper(wxPaperSize paper);
// The size of a standard paper, in tenths of a millimetre, as the toolkit's paper
// database gives it; false for numbers without a toolkit paper.
DRUTILS_API bool standardSize(int number, int& widthTenths, int& lengthTenths);

} // namespace ut::papers
