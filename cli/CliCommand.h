#pragma once

#include <QStringList>

#include <vector>

// One sub-command of `kelvo` ("kelvo terminal ...", "kelvo project show ..."). A command file
// registers itself with a file-scope CliRegistrar; `kelvo --help` lists every registered one.
struct CliCommand {
    const char* name;    // first word on the command line
    const char* usage;   // one usage line, shown by `kelvo --help`
    const char* summary; // what it does, one line
    // Runs with the arguments after the command's name; returns the process exit status.
    int (*run)(const QStringList& args);
};

const std::vector<CliCommand>& cli_commands();

struct CliRegistrar {
    explicit CliRegistrar(const CliCommand& command);
};
