#ifndef TQLPLAY_CLI_H
#define TQLPLAY_CLI_H

// tqlplay's command line: options and commands are rows of two tables, so
// that a new command or option is one row. Options may stand anywhere,
// before or after the command, as "--name value" or "--name=value".
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace tqlplay {

// Exit statuses, told in --help and in the README.
enum ExitStatus {
    kExitOk = 0,           // done as asked
    kExitFailure = 1,      // the service, the playback or a write failed
    kExitUsage = 2,        // a bad command line; nothing was done
    kExitInterrupted = 130 // stopped by Ctrl-C
};

namespace cli {

struct Option {
    const char* name;  // the long name, without "--"
    const char* value; // the value's name in the usage text; nullptr for a switch
    const char* group; // the usage text's heading the option stands under
    const char* help;
    // Takes the value (nullptr for a switch); false when it told a usage error.
    std::function<bool(const char* value)> apply;
};

struct Command {
    const char* name;
    const char* operands; // their names in the usage text, "" for none
    int minOperands, maxOperands;
    const char* help;
    std::function<int(const std::vector<std::string>& operands)> run;
};

// Reads the options into their rows and collects the operands. -1 to go
// on; otherwise the exit status, after --help, --version or a usage error.
int parse(int argc, char** argv, const std::vector<Option>& options, const std::vector<Command>& commands,
          std::vector<std::string>& operands);

// Finds the command the operands name, checks its operand count; the
// command's row, or nullptr after a usage error was told.
const Command* find(const std::vector<Command>& commands, const std::vector<std::string>& operands);

// "tqlplay: TEXT" and a pointer to --help on stderr; gives kExitUsage.
int usageError(const std::string& text);

// A whole decimal number from low to high, or a usage error naming the
// option; false then.
bool number(const char* option, const char* text, long low, long high, long& out);

void printHelp(FILE* out, const std::vector<Option>& options, const std::vector<Command>& commands);

} // namespace cli
} // namespace tqlplay

#endif
