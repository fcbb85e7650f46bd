#pragma once

#include "MdidHost/File/MdidHost_FileError.h"

#include <new>
#include <string>

// Runs the operation. What it throws, memory apart, becomes an error of the file. iPosition tells where, for exceptions
// that do not say it themselves.
template <class Operation, class Position>
auto MdidHost_WithErrorsOf(const std::string& iFile, Operation iOperation, Position iPosition)
{
    try
    {
        return iOperation();
    }
    catch (const MdidHost_FileError&)
    {
        throw;
    }
    catch (const std::bad_alloc&)
    {
        throw;
    }
    catch (const Sys_StreamException& exception)
    {
        const std::string record = exception.GetTag().empty() ? "" : exception.GetTag() + ": ";
        throw MdidHost_FileError(iFile, record + exception.GetReason(), exception.GetPosition());
    }
    catch (const std::exception& exception)
    {
        throw MdidHost_FileError(iFile, exception.what(), iPosition());
    }
}

template <class Operation>
auto MdidHost_WithErrorsOf(const std::string& iFile, Operation iOperation)
{
    return MdidHost_WithErrorsOf(iFile, iOperation, [] { return Sys_StreamException::kNoPosition; });
}
