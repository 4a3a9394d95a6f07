#include "cli.h"

#include <getopt.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "tqlhost.h"
#include "tqllib.h"

namespace tqlplay {
namespace cli {

namespace {

const char* const kToolVersion = "1.1.0";

// The linked library's own version, not the header's: that is what runs.
void printVersion()
{
    int major = 0, minor = 0, patch = 0;
    tqlhost_set_log_level(0);
    tql_getVersion(&major, &minor, &patch);
    tql_deinit();
    printf("tqlplay %s (libtqllib %d.%d.%d)\n", kToolVersion, major, minor, patch);
}

// Edits from a to b, for a hint at a misspelt command.
size_t distance(const std::string& a, const std::string& b)
{
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] != b[j - 1])});
            diagonal = above;
        }
    }
    return row[b.size()];
}

std::string quantity(int n, const char* what)
{
    return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

} // namespace

int usageError(const std::string& text)
{
    fprintf(stderr, "tqlplay: %s\ntry 'tqlplay --help'\n", text.c_str());
    return kExitUsage;
}

bool number(const char* option, const char* text, long low, long high, long& out)
{
    // strtol alone would take " 7", "+7" and "10abc"; only digits are a number here.
    const char* digits = text[0] == '-' ? text + 1 : text;
    bool whole = *digits && strspn(digits, "0123456789") == strlen(digits);
    errno = 0;
    long value = whole ? strtol(text, nullptr, 10) : 0;
    if (!whole) {
        usageError(std::string("--") + option + " needs a whole number, not '" + text + "'");
        return false;
    }
    if (errno == ERANGE || value < low || value > high) {
        usageError(std::string("--") + option + " must be from " + std::to_string(low) + " to " +
                   std::to_string(high) + ", not " + text);
        return false;
    }
    out = value;
    return true;
}

int parse(int argc, char** argv, const std::vector<Option>& options, const std::vector<Command>& commands,
          std::vector<std::string>& operands)
{
    // Rows past the table's own are --help and --version.
    std::vector<option> longs;
    for (const Option& o : options)
        longs.push_back({o.name, o.value ? required_argument : no_argument, nullptr, 0});
    const int help = static_cast<int>(options.size()), version = help + 1;
    longs.push_back({"help", no_argument, nullptr, 0});
    longs.push_back({"version", no_argument, nullptr, 0});
    longs.push_back({nullptr, 0, nullptr, 0});

    opterr = 0; // the messages are ours, one line each
    optind = 1;
    for (;;) {
        int index = -1;
        int c = getopt_long(argc, argv, ":hV", longs.data(), &index);
        if (c == -1)
            break;
        if (c == 'h')
            index = help;
        else if (c == 'V')
            index = version;
        if (c == ':')
            return usageError(std::string(argv[optind - 1]) + " needs a value");
        if (c == '?') {
            const char* given = argv[optind - 1];
            if (optopt && strncmp(given, "--", 2) != 0)
                return usageError(std::string("unknown option '-") + static_cast<char>(optopt) + "'");
            std::string name = given;
            name = name.substr(0, name.find('='));
            return usageError("unknown option '" + name + "'");
        }
        if (index == help) {
            printHelp(stdout, options, commands);
            return kExitOk;
        }
        if (index == version) {
            printVersion();
            return kExitOk;
        }
        if (index < 0 || !options[static_cast<size_t>(index)].apply(optarg))
            return kExitUsage;
    }
    operands.assign(argv + optind, argv + argc);
    return -1;
}

const Command* find(const std::vector<Command>& commands, const std::vector<std::string>& operands)
{
    if (operands.empty()) {
        usageError("no command given");
        return nullptr;
    }
    const std::string& name = operands[0];
    for (const Command& c : commands) {
        if (name != c.name)
            continue;
        int given = static_cast<int>(operands.size()) - 1;
        if (given < c.minOperands || given > c.maxOperands) {
            std::string wanted = *c.operands ? std::string(" ") + c.operands : std::string();
            std::string takes = c.maxOperands == 0                ? std::string("no operands")
                                : c.minOperands == c.maxOperands ? quantity(c.minOperands, "operand")
                                                                 : "from " + std::to_string(c.minOperands) + " to " +
                                                                       quantity(c.maxOperands, "operand");
            usageError("'" + name + "' takes " + takes + ", not " + std::to_string(given) + ": tqlplay " + name +
                       wanted);
            return nullptr;
        }
        return &c;
    }
    const Command* near = nullptr;
    for (const Command& c : commands)
        if (distance(name, c.name) <= 2 && (!near || distance(name, c.name) < distance(name, near->name)))
            near = &c;
    usageError("unknown command '" + name + "'" + (near ? std::string(" (did you mean '") + near->name + "'?)" : ""));
    return nullptr;
}

void printHelp(FILE* out, const std::vector<Option>& options, const std::vector<Command>& commands)
{
    fprintf(out, "usage: tqlplay [OPTION]... COMMAND [OPERAND]...\n\ncommands:\n");
    for (const Command& c : commands) {
        std::string head = std::string(c.name) + (*c.operands ? " " : "") + c.operands;
        fprintf(out, "  %-22s %s\n", head.c_str(), c.help);
    }
    // Groups in the order in which the table first names them.
    std::vector<std::string> groups;
    for (const Option& o : options)
        if (std::find(groups.begin(), groups.end(), o.group) == groups.end())
            groups.push_back(o.group);
    for (const std::string& group : groups) {
        fprintf(out, "\n%s:\n", group.c_str());
        for (const Option& o : options) {
            if (group != o.group || !o.help)
                continue;
            std::string head = std::string("--") + o.name + (o.value ? std::string(" ") + o.value : "");
            fprintf(out, "  %-22s %s\n", head.c_str(), o.help);
        }
        if (group == groups.front())
            fprintf(out, "  %-22s %s\n  %-22s %s\n", "--help", "this text", "--version",
                    "the versions of tqlplay and of the library");
    }
    fprintf(out,
            "\nOptions may also be written --name=value, before or after the command.\n"
            "\nexit status:\n"
            "  0    done as asked\n"
            "  1    the service, the playback, the account file or a write failed\n"
            "  2    a bad command line; nothing was done\n"
            "  130  stopped by Ctrl-C\n");
}

} // namespace cli
} // namespace tqlplay
