// Export macro of libdrutils: the library is built with hidden visibility, so
// only what carries DRUTILS_API is visible to applications and plug-ins.
#pragma once

#if defined(DRUTILS_BUILDING)
#define DRUTILS_API __attribute__((visibility("default")))
#else
#define DRUTILS_API
#endif
