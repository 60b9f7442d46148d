#include "front_end/help.h"

#include <cstdio>

#include "commands/offer.h"
#include "commands/texts.h"
#include "commands/vocabulary.h"
#include "front_end/own_commands.h"
#include "front_end/say.h"
#include "zwmgmt/help.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {
namespace {

/// Prints the help that the words ask for; "" or what is wrong with them.
std::string PrintHelpFor(const std::vector<const char*>& words) {
    bool printed = false;
    for (const OwnCommand& row : OwnCommands()) {
        if (!words.empty() && !zwmgmt::SameIgnoringCase(words[0], row.word)) continue;
        std::fputs(row.help, stdout);
        printed = true;
    }
    if (printed && !words.empty()) return "";
    // What follows the command needs no help of its own.
    const size_t count = words.size() < 2 ? words.size() : 2;
    if (zwmgmt::PrintHelp(stdout, words.data(), count)) return "";
    const std::string wrong =
        ComplaintAbout({words.begin(), words.begin() + static_cast<int>(count)});
    if (!wrong.empty()) return wrong;
    return std::string("this version does not have \"") + words[0] + " " + words[1] + "\"";
}

}  // namespace

std::string ComplaintAbout(const std::vector<const char*>& words) {
    if (words.empty() || ZwMgmt_interface::CLGetService(words[0]) != -1) {
        return zwmgmt::CommandWords(words.data(), words.size()).Error();
    }
    std::vector<const char*> known = zwmgmt::OfferedServices().sent;
    for (const OwnCommand& row : OwnCommands()) known.push_back(row.word);
    return std::string("unknown service \"") + words[0] +
           "\"; nearest: " + zwmgmt::Joined(zwmgmt::NearestWords(words[0], known));
}

ExitStatus HelpCommand(const Options& /*options*/, const std::vector<std::string>& words) {
    const std::string wrong = PrintHelpFor(PointersTo(words));
    return wrong.empty() ? kOk : Fail(kUsage, wrong);
}

}  // namespace zwcli
