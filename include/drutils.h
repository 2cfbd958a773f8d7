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
// The settings store's headers name toolkit types (wxString, wxRect, ...); they
// come in when the toolkit's headers are on the include path.
#if __has_include(<wx/string.h>)
#include "ut_config.h"
#include "ut_registry.h"
#endif
