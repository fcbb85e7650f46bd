#include "CFnd/Cmn_RefCountObject.h"

Cmn_RefCountObject::~Cmn_RefCountObject() = default;
Sys_ThreadSafeRefCountObject::~Sys_ThreadSafeRefCountObject() = default;
