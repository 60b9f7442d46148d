#include "front_end/help.h"

#include <cstdio>

#include "commands/offer.h"
#include "commands/texts.h"
#include "commands/vocabulary.h"
#include "zwmgmt/help.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {
namespace {

/// A command of the front end itself.
struct OwnRow {
    const char* word;
    const char* help;
};

constexpr OwnRow kOwn[] = {
    {"help", "help [SERVICE [COMMAND]]\n    lists commands and their keys, without an agent\n"},
    {"agents",
     "agents list | agents add|remove|scan HOST[:PORT] ... | agents add HOST[:PORT] SHA256:...\n"
     "    the agents whose keys are known: shows them, keeps the key that an agent shows or the "
     "one "
     "given, forgets it, or only looks\n"},
    {"policy",
     "policy check FILE [src=ADDRESS] [dst=ADDRESS] [sport=N] [dport=N] [vlan=N] [tos=N] [vers=N] "
     "[mark=N] [open=listen|aopen|popen]\n"
     "    compiles a policy file and shows what it does, without an agent; with keys or "
     "--connections,\n    which rule decides\n"
     "policy explain FILE\n"
     "    tells which rules of a policy file never decide, and which overlap\n"
     "policy diff FILE OTHER\n"
     "    tells whether two policy files decide alike\n"
     "policy fmt FILE\n"
     "    prints a policy file in one style\n"},
};

}  // namespace

std::string ComplaintAbout(const std::vector<const char*>& words) {
    if (words.empty() || ZwMgmt_interface::CLGetService(words[0]) != -1) {
        return zwmgmt::CommandWords(words.data(), words.size()).Error();
    }
    std::vector<const char*> known = zwmgmt::OfferedServices().sent;
    for (const OwnRow& row : kOwn) known.push_back(row.word);
    return std::string("unknown service \"") + words[0] +
           "\"; nearest: " + zwmgmt::Joined(zwmgmt::NearestWords(words[0], known));
}

std::string PrintHelpFor(const std::vector<const char*>& words) {
    bool printed = false;
    for (const OwnRow& row : kOwn) {
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

}  // namespace zwcli
