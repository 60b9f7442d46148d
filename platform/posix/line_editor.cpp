#include "platform/line_editor.h"

#include <histedit.h>
#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace zwmgmt::platform {
namespace {

/// The editor's library forgets the names of what it is given: leak checkers are not to say so.
#if defined(__SANITIZE_ADDRESS__)
using LeaksOfOthers = __lsan::ScopedDisabler;
#else
struct LeaksOfOthers {};
#endif

constexpr int kRemembered = 1000;  // lines
constexpr size_t kShown = 200;     // candidates

/// What all of them begin with.
std::string CommonBeginning(const std::vector<std::string>& texts) {
    std::string common = texts.front();
    for (const std::string& text : texts) {
        const auto [end, other] = std::ranges::mismatch(common, text);
        common.erase(end, common.end());
    }
    return common;
}

/// In columns, below the line.
void Show(const std::vector<std::string>& texts, size_t width) {
    const size_t shown = std::min(texts.size(), kShown);
    size_t longest = 0;
    for (size_t i = 0; i < shown; ++i) longest = std::max(longest, texts[i].size());
    const size_t columns = std::max<size_t>(1, width / (longest + 2));
    for (size_t i = 0; i < shown; ++i) {
        std::fprintf(stderr, "%s%-*s", i % columns == 0 ? "\n" : "  ", static_cast<int>(longest),
                     texts[i].c_str());
    }
    if (shown < texts.size()) std::fprintf(stderr, "\nand %zu more", texts.size() - shown);
    std::fputs("\n", stderr);
}

}  // namespace

struct LineEditor::Parts {
    Parts(const std::string& given_prompt, Complete given_complete)
        : prompt(given_prompt), complete(std::move(given_complete)) {
        std::setlocale(LC_CTYPE, "");  // what is typed may be UTF-8
        HistEvent event;
        history(former, &event, H_SETSIZE, kRemembered);
        el_set(editor, EL_CLIENTDATA, this);
        el_set(editor, EL_PROMPT, GivePrompt);
        el_set(editor, EL_EDITOR, "emacs");
        el_set(editor, EL_SIGNAL, 1);
        el_set(editor, EL_HIST, history, former);
        [[maybe_unused]] const LeaksOfOthers leaks;
        el_set(editor, EL_ADDFN, "complete", "Completes the word", OnTab);
        el_set(editor, EL_ADDFN, "give-up", "Gives the line up", OnInterrupt);
        el_set(editor, EL_ADDFN, "suspend", "Stops the program", OnSuspend);
        el_set(editor, EL_BIND, "^I", "complete", nullptr);
        el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
        el_source(editor, nullptr);
        // While a line is edited Ctrl-C is a key like others, and so is Ctrl-Z.
        el_set(editor, EL_SETTY, "-d", "-isig", nullptr);
        el_set(editor, EL_BIND, "^C", "give-up", nullptr);
        el_set(editor, EL_BIND, "^Z", "suspend", nullptr);
    }
    ~Parts() {
        el_end(editor);
        history_end(former);
    }
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;

    static Parts& Of(EditLine* editor) {
        void* parts = nullptr;
        el_get(editor, EL_CLIENTDATA, &parts);
        return *static_cast<Parts*>(parts);
    }

    static char* GivePrompt(EditLine* editor) { return Of(editor).prompt.data(); }

    static unsigned char OnInterrupt(EditLine* editor, int) {
        Of(editor).is_given_up = true;
        std::fputs("^C\n", stderr);
        return CC_EOF;
    }

    static unsigned char OnSuspend(EditLine*, int) {
        std::raise(SIGTSTP);
        return CC_REDISPLAY;
    }

    static unsigned char OnTab(EditLine* editor, int) { return Of(editor).CompleteWord(); }

    unsigned char CompleteWord() {
        const LineInfo* line = el_line(editor);
        const std::string typed(line->buffer, line->cursor);
        const Candidates found = complete(typed);
        if (found.texts.empty()) return CC_REFRESH_BEEP;
        const std::string word = typed.substr(found.begin);
        std::string better = CommonBeginning(found.texts);
        const bool is_one = found.texts.size() == 1;
        if (is_one && !better.ends_with('=') && !better.ends_with('/')) better += ' ';
        if (!is_one && better.size() <= word.size()) {
            int width = 80;
            el_get(editor, EL_GETTC, "co", &width, nullptr);
            Show(found.texts, static_cast<size_t>(width));
            return CC_REDISPLAY;
        }
        const size_t characters = std::mbstowcs(nullptr, word.c_str(), 0);
        el_deletestr(editor, static_cast<int>(std::min(characters, word.size())));
        return el_insertstr(editor, better.c_str()) == 0 ? CC_REFRESH : CC_REFRESH_BEEP;
    }

    std::string prompt;
    const Complete complete;
    EditLine* const editor = el_init("korvane_zwcli", stdin, stderr, stderr);
    History* const former = history_init();
    bool is_given_up = false;
};

LineEditor::LineEditor(const std::string& prompt, Complete complete)
    : parts(std::make_unique<Parts>(prompt, std::move(complete))) {}

LineEditor::~LineEditor() = default;

Read LineEditor::ReadLine(std::string* line) {
    parts->is_given_up = false;
    int length = 0;
    errno = 0;
    el_set(parts->editor, EL_PREP_TERM, 1);  // before the prompt shows, which asks for keys
    const char* typed = el_gets(parts->editor, &length);
    if (parts->is_given_up || (typed == nullptr && errno == EINTR)) return Read::kGivenUp;
    if (typed == nullptr || length <= 0) return Read::kEnd;
    *line = std::string(typed, static_cast<size_t>(length));
    if (line->ends_with('\n')) line->pop_back();
    return Read::kLine;
}

void LineEditor::Remember(const std::string& line) {
    HistEvent event;
    history(parts->former, &event, H_ENTER, line.c_str());
}

}  // namespace zwmgmt::platform
