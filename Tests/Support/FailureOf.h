#pragma once

#include "CFnd/Sys_StreamException.h"

#include <string>

// The text of the stream's failure; empty without one.
template <class Operation>
std::string FailureOf(Operation iOperation)
{
    try
    {
        iOperation();
        return "";
    }
    catch (const Sys_StreamException& e)
    {
        return e.what();
    }
}
