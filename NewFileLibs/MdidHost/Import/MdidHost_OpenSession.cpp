#include "MdidHost/Import/MdidHost_OpenSession.h"

#include "CFnd/Sys_FileStream.h"
#include "MdidHost/File/MdidHost_FileErrors_Private.h"
#include "MdidHost/Import/MdidHost_Input.h"
#include "MdidHost/Session/MdidHost_SessionFolder.h"

#include <filesystem>

namespace
{

bool BeginsLikeChunk(const std::string& iFile)
{
    try
    {
        Sys_FileInStream stream(iFile);
        return MdidHost_BeginsLikeChunk(stream);
    }
    catch (const Sys_StreamException&) // it cannot be read, of which more is said by who needs it
    {
        return false;
    }
}

} // namespace

MdidHost_InputKind MdidHost_KindOf(const std::string& iPath)
{
    std::error_code ignored;
    if (iPath == "-")
        return MdidHost_InputKind::kMidiFile;
    const std::filesystem::file_type type = std::filesystem::status(iPath, ignored).type();
    if (type == std::filesystem::file_type::directory)
        return MdidHost_InputKind::kSessionFolder;
    // Nothing is read from a pipe here: its bytes come once.
    const bool isChunk = type == std::filesystem::file_type::regular && BeginsLikeChunk(iPath);
    return isChunk ? MdidHost_InputKind::kChunkFile : MdidHost_InputKind::kMidiFile;
}

MdidHost_Session MdidHost_OpenSession(const std::string& iPath, const MdidHost_ImportOptions& iOptions,
                                      MdidHost_ImportReport& oReport)
{
    oReport = {};
    const auto complete = [&](MdidHost_Session iSession)
    {
        oReport.mGrade = MdidHost_Grade::kComplete;
        return iSession;
    };
    if (MdidHost_KindOf(iPath) == MdidHost_InputKind::kSessionFolder)
        return complete(MdidHost_LoadSession(iPath, iOptions.mUndoFlag));
    return MdidHost_WithErrorsOf(iPath,
                                 [&]
                                 {
                                     std::unique_ptr<Cmn_InStream> streamP = MdidHost_OpenInput(iPath);
                                     if (MdidHost_BeginsLikeChunk(*streamP))
                                         return complete(MdidHost_LoadChunkFile(*streamP, iPath, iOptions.mUndoFlag));
                                     return MdidHost_ImportMidiFile(std::move(streamP), iOptions, oReport);
                                 });
}
