#pragma once

// Marks what leaves this shared library; everything else is hidden.
#define MDID_EXPORT __attribute__((visibility("default")))
