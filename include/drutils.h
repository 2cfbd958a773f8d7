// Umbrella header of libdrutils and libdrutils_print: every exported family. Some
// families name toolkit types (print data, settings, papers), so an application
// that includes this header uses the package's toolkit component; one that needs
// only toolkit-free families includes their headers alone.
#pragma once

#include "od/OdArray.h"
#include "od/OdDbPlotSettings.h"
#include "od/OdGePoint.h"
#include "od/OdString.h"
#include "od/wintypes.h"
#include "pia.h"
#include "plotcfg.h"
#include "ut_blowfish.h"
#include "ut_config.h"
#include "binstream.h"
#include "plotstyle.h"
#include "plotstyletable.h"
#include "ut_datetime.h"
#include "ut_filelock.h"
#include "ut_filename.h"
#include "ut_log.h"
#include "ut_messages.h"
#include "ut_papers.h"
#include "ut_printdata.h"
#include "ut_registry.h"
#include "ut_strings.h"
#include "ut_taskqueue.h"
