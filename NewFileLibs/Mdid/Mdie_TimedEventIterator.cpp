#include "Mdid/Mdie_TimedEventIterator.h"

Mdie_TimedEventIterator::~Mdie_TimedEventIterator() = default;
