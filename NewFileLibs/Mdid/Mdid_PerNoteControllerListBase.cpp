#include "Mdid/Mdid_PerNoteControllerListBase.h"

Mdid_PerNoteControllerListBase::~Mdid_PerNoteControllerListBase() = default;
