#pragma once

#include "QuorPlatformSupport/QuorPlatformSupport_Export.h"

#include <cstddef>

// Keeps the pages that hold these bytes in memory, so that a playback thread never waits for the disk.
//
// The system locks whole pages and does not count: the first unlock of a page ends every lock on it. Memory that must
// stay resident while its neighbours come and go is taken in whole pages.
//
// False when the system refuses, usually for want of privilege (the limit on locked memory). A refusal is traced and
// harms nothing: the memory stays usable, only pageable. Any thread but a playback one: each is a system call.
PLATFORMSUPPORT_EXPORT bool PSUtil_VMLock(const void* iMemoryP, std::size_t iSizeInBytes);

// Lets the pages go again; false when the system refuses. Freeing memory does not unlock it, unmapping does.
PLATFORMSUPPORT_EXPORT bool PSUtil_VMUnlock(const void* iMemoryP, std::size_t iSizeInBytes);
