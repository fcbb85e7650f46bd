#include "Mdid/Mdid_ExtendedEventIterator.h"

Mdid_ExtendedEventIterator::~Mdid_ExtendedEventIterator() = default;
