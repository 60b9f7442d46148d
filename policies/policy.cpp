/// Policies as texts and files: taken apart into rules, compiled rule by rule into records.
#include "zwmgmt/policy.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/file.h"
#include "zwmgmt/fixed_text.h"

using namespace zwmgmt;

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

/// The next line that is no comment.
size_t NextLine(std::string_view text, size_t begin) {
    while (begin < text.size() && text[begin] == '#') {
        begin = std::min(text.find('\n', begin), text.size() - 1) + 1;
    }
    return begin;
}

enum class Layout { kPlain, kContinued };

/// Calls `take` with each rule until it returns false. Rules end with a line or with ";"; "#"
/// begins a comment. In a continued layout a line that begins with a blank belongs to the rule
/// before it. Rules without a word are none.
template <class Take>
void ForEachRule(std::string_view text, Layout layout, Take take) {
    std::string joined;  // what a comment or a line end has parted
    size_t begin = 0;
    const auto join = [&](size_t end) { joined.append(text.substr(begin, end - begin)); };
    const auto finish = [&](size_t end) {
        std::string_view rule = text.substr(begin, end - begin);
        if (!joined.empty()) {
            join(end);
            rule = joined;
        }
        const bool blank = std::ranges::all_of(rule, IsBlank);
        const bool more = blank || take(rule);
        joined.clear();
        begin = end + 1;
        return more;
    };
    for (size_t i = 0; i < text.size(); ++i) {
        switch (text[i]) {
            case '#':
                join(i);
                i = std::min(text.find('\n', i), text.size()) - 1;
                begin = i + 1;
                break;
            case '\n': {
                const size_t following = NextLine(text, i + 1);
                if (layout == Layout::kContinued && following < text.size() &&
                    IsBlank(text[following])) {
                    join(i);
                    begin = following;
                    i = following - 1;
                    break;
                }
                if (!finish(i)) return;
                break;
            }
            case ';':
                if (!finish(i)) return;
                break;
            default: break;
        }
    }
    if (begin < text.size() || !joined.empty()) finish(text.size());
}

constexpr uint64_t kLargestFile = 64u << 20;

/// False when the file cannot be read whole.
bool ReadWhole(const char* name, std::string* text) {
    FILE* file = nullptr;
    uint64_t size = 0;
    if (platform::OpenRegularFile(name, &file, &size) != platform::OpenResult::kOpened) {
        return false;
    }
    const struct Closer {
        FILE* file;
        ~Closer() { std::fclose(file); }
    } closer{file};
    if (size > kLargestFile) return false;
    text->resize(static_cast<size_t>(size));
    return std::fread(text->data(), 1, text->size(), file) == text->size();
}

}  // namespace

void ParsePolicy::Print(const std::string& error) const {
    if (!prints || error.empty()) return;
    std::fprintf(stream != nullptr ? stream : stdout, "%s\n", error.c_str());
}

bool ParsePolicy::NameFits(const char* interface_name, std::string* error) {
    if (std::strlen(interface_name) < sizeof(_OfldPolicy::interface_name)) return true;
    *error = "the interface name is longer than 63 characters";
    Print(*error);
    return false;
}

bool ParsePolicy::Append(std::string_view rule, size_t number, const char* interface_name,
                         std::vector<_OfldPolicy>* policies, std::string* error) {
    _OfldPolicy policy = {};
    if (!classifier.Compile(rule, number, &program, &policy.settings)) {
        *error = classifier.Error();
        Print(*error);
        return false;
    }
    SetFixedText(policy.interface_name, interface_name);
    std::memcpy(policy.program, program.data(), program.size() * sizeof(program[0]));
    policies->push_back(policy);
    return true;
}

int ParsePolicy::build_policy_vector(const std::vector<std::string>& rules,
                                     const char* interface_name, std::vector<_OfldPolicy>* policies,
                                     std::string* error) noexcept {
    try {
        error->clear();
        if (!NameFits(interface_name, error)) return 1;
        for (size_t i = 0; i < rules.size(); ++i) {
            if (!Append(rules[i], i + 1, interface_name, policies, error)) return 1;
        }
        return 0;
    } catch (const std::bad_alloc&) {
        return 1;
    }
}

int ParsePolicy::ParsePolicyString(const char* text, const char* interface_name,
                                   std::vector<_OfldPolicy>* policies,
                                   std::string* error) noexcept {
    return AppendAll(text, false, interface_name, policies, error);
}

int ParsePolicy::AppendAll(std::string_view text, bool continued, const char* interface_name,
                           std::vector<_OfldPolicy>* policies, std::string* error) noexcept {
    try {
        error->clear();
        if (!NameFits(interface_name, error)) return 1;
        size_t number = 0;
        bool sound = true;
        const Layout layout = continued ? Layout::kContinued : Layout::kPlain;
        ForEachRule(text, layout, [&](std::string_view rule) {
            return sound = Append(rule, ++number, interface_name, policies, error);
        });
        return sound ? 0 : 1;
    } catch (const std::bad_alloc&) {
        return 1;
    }
}

int ParsePolicy::ParsePolicyFile(const char* file_name, const char* interface_name,
                                 std::vector<_OfldPolicy>* policies, std::string* error) noexcept {
    try {
        error->clear();
        std::string text;
        return ReadWhole(file_name, &text) ? AppendAll(text, true, interface_name, policies, error)
                                           : 1;
    } catch (const std::bad_alloc&) {
        return 1;
    }
}
