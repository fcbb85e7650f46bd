// The command-line host: parses arguments, calls the libraries, prints.

#include "Command.h"
#include "Mdid/Mdid_Init.h"
#include "MdidHost/Text/MdidHost_Text.h"

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <system_error>

namespace
{

int Run(int iArgc, char** iArgv)
{
    CLI::App app("Reads, checks, edits and writes MIDI files and sessions, and tells what is in them.", "mdid");
    app.require_subcommand(1);
    app.set_version_flag("--version", MDID_VERSION);
    app.footer("Results go to standard output, messages to standard error.\n"
               "Exit code: 0 done, 1 bad input, 2 wrong usage.\n"
               "Example: mdid info song.mid");

    Commands commands;
    AddFileCommands(app, commands);
    AddCheckCommand(app, commands);
    AddTransferCommands(app, commands);
    AddSessionCommands(app, commands);
    AddEditCommand(app, commands);
    AddNoteCommands(app, commands);
    AddRollCommand(app, commands);
    AddPlayCommands(app, commands);
    try
    {
        app.parse(iArgc, iArgv);
    }
    catch (const CLI::ParseError& error)
    {
        return app.exit(error) == 0 ? kDone : kWrongUsage;
    }

    const auto chosen = std::ranges::find_if(commands, [](const auto& command) { return command->IsChosen(); });
    (*chosen)->ApplyOptions();
    return (*chosen)->Run();
}

int RunAndComplain(int iArgc, char** iArgv)
{
    try
    {
        return Run(iArgc, iArgv);
    }
    catch (const WrongUsage& error)
    {
        std::cerr << "mdid: " << MdidHost_Printable(error.what()) << '\n';
        return kWrongUsage;
    }
    catch (const MdidHost_FileError& error)
    {
        Complain(error.GetFile(), {error.what(), error.GetPosition()});
    }
    catch (const std::exception& exception)
    {
        std::cerr << "mdid: " << MdidHost_Printable(exception.what()) << '\n';
    }
    return kBadInput;
}

} // namespace

int main(int iArgc, char** iArgv)
{
    std::ios::sync_with_stdio(false);
    std::cin.tie(nullptr);
    Mdid_Init::Init();
    int result = RunAndComplain(iArgc, iArgv);
    if (!std::cout.flush())
    {
        std::cerr << "mdid: standard output: " << std::generic_category().message(errno) << '\n';
        result = kBadInput;
    }
    Mdid_Init::Free();
    return result;
}
