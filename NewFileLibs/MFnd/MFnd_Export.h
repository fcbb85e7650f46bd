#pragma once

// Marks what leaves this shared library; everything else is hidden.
#define MFND_EXPORT __attribute__((visibility("default")))
