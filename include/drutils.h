// Umbrella header of libdrutils: every exported family.
#pragma once

#include "od/OdArray.h"
#include "od/OdGePoint.h"
#include "od/OdString.h"
#include "od/wintypes.h"
#include "pia.h"
#include "plotcfg.h"
#include "ut_blowfish.h"
#include "binstream.h"
#include "plotstyle.h"
#include "plotstyletable.h"
#include "ut_datetime.h"
#include "ut_filelock.h"
#include "ut_filename.h"
#include "ut_log.h"
#include "ut_messages.h"
#include "ut_strings.h"
#include "ut_taskqueue.h"
// Printing: print data and system printers, papers. These headers name toolkit
// types, so they come in only where the toolkit's headers can be found; an
// application of the other families needs no toolkit.
#include "od/OdDbPlotSettings.h"
#if __has_include(<wx/setup.h>)
#include "ut_papers.h"
#include "ut_printdata.h"
#endif
