#pragma once

// Marks what leaves this shared library; everything else is hidden.
#define CFND_EXPORT __attribute__((visibility("default")))
