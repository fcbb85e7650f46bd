#include "Mdid/Mdid_IRTProperties.h"

Mdid_IRTProperties::~Mdid_IRTProperties() = default;
