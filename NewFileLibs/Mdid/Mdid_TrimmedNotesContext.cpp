#include "Mdid/Mdid_TrimmedNotesContext.h"

#include "Mdid/Mdid_ExtendedEvent.h"

namespace
{

void Stamp(Mdid_NoteWithDurationExtendedEvent& ioNote, Sys_UUID iUUID)
{
    if (Mdid_TrimmedNoteExtension* const extensionP = ioNote.GetTrimExtension())
        extensionP->mClipUUID = iUUID;
}

} // namespace

Mdid_TrimmedNotesContext::~Mdid_TrimmedNotesContext() = default;

void Mdid_TrimmedNotesContext::AttachContextToNote(Mdid_NoteWithDurationExtendedEvent& ioNote) const
{
    Stamp(ioNote, GetUUID());
}

void Mdid_TrimmedNotesContext::DetachContextFromNote(Mdid_NoteWithDurationExtendedEvent& ioNote) const
{
    Stamp(ioNote, Sys_UUID());
}

bool Mdid_TrimmedNotesNoContext::MatchesContext(const Mdid_NoteWithDurationExtendedEvent&) const
{
    return true;
}

void Mdid_TrimmedNotesNoContext::FilterNote(Mdid_NoteWithDurationExtendedEvent&) const {}
