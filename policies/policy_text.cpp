#include "policies/policy_text.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>

#include "output/characters.h"
#include "platform/file.h"

namespace zwmgmt::policy {
namespace {

bool IsLineEnd(char c) { return c == '\n' || c == '\r'; }

/// Whether a byte goes on with a character of UTF-8.
bool Continues(char c) { return (static_cast<uint8_t>(c) & 0xC0) == 0x80; }

/// "" or why the stream was not read whole. size_said: what it is said to have, 0: not known.
const char* ReadAll(FILE* stream, uint64_t size_said, std::string* text) {
    constexpr size_t kPiece = 64 * 1024;
    constexpr const char* kTooLarge = "it is larger than 64 MiB";
    if (size_said > kLargestText) return kTooLarge;
    text->reserve(static_cast<size_t>(size_said) + kPiece);
    for (size_t size = 0;;) {
        text->resize(size + kPiece);
        const size_t read = std::fread(text->data() + size, 1, kPiece, stream);
        size += read;
        text->resize(size);
        if (std::ferror(stream)) return "it cannot be read whole";
        if (size > kLargestText) return kTooLarge;
        if (read < kPiece) return "";
    }
}

/// "" or why it is no text; takes the mark of UTF-8 away.
std::string JudgeText(std::string* text) {
    if (text->starts_with("\xFF\xFE") || text->starts_with("\xFE\xFF")) {
        return "it is UTF-16, and policies are UTF-8";
    }
    if (text->starts_with("\xEF\xBB\xBF")) text->erase(0, 3);
    const size_t nul = text->find('\0');
    if (nul == text->npos) return "";
    const Place place = Places(*text).Of(nul);
    return "it is no text: there is a NUL byte in line " + std::to_string(place.line) +
           ", column " + std::to_string(place.column);
}

/// A character as a terminal may have it.
std::string Harmless(std::string_view character) {
    const bool plain = character.size() > 1 || static_cast<uint8_t>(character[0]) < 0x80;
    return IsControl(character) || !plain ? "?" : std::string(character);
}

}  // namespace

bool ReadText(const char* name, Source source, std::string* text, std::string* reason) {
    text->clear();
    FILE* file = stdin;
    uint64_t size = 0;
    std::unique_ptr<FILE, int (*)(FILE*)> closer(nullptr, std::fclose);
    if (source == Source::kFile || std::string_view(name) != "-") {
        const auto wanted =
            source == Source::kFile ? platform::Wanted::kRegularFile : platform::Wanted::kPipesToo;
        *reason = platform::WhyNot(platform::OpenToRead(name, wanted, &file, &size));
        if (!reason->empty()) return false;
        closer.reset(file);
    }
    try {
        *reason = ReadAll(file, size, text);
        if (reason->empty()) *reason = JudgeText(text);
    } catch (const std::bad_alloc&) {
        *reason = "there is not enough memory";
    }
    if (!reason->empty()) std::string().swap(*text);
    return reason->empty();
}

Place Places::Of(size_t offset) {
    if (offset < reached) {
        reached = 0;
        place = {};
    }
    for (; reached < std::min(offset, text.size()); ++reached) {
        const bool both = text.substr(reached, 2) == "\r\n";
        if (IsLineEnd(text[reached]) && !both) {
            place = {place.line + 1, 1};
        } else if (!Continues(text[reached])) {
            ++place.column;
        }
    }
    return place;
}

MarkedLine MarkIn(std::string_view text, size_t offset, size_t length) {
    constexpr size_t kBefore = 60;
    constexpr size_t kWidth = 90;
    size_t begin = offset;
    while (begin > 0 && !IsLineEnd(text[begin - 1]) &&
           (offset - begin < kBefore || Continues(text[begin]))) {
        --begin;
    }
    const bool cut = begin > 0 && !IsLineEnd(text[begin - 1]);
    MarkedLine marked = {cut ? "..." : "", cut ? "   " : ""};
    size_t at = begin;
    for (size_t width = 0; at < text.size() && !IsLineEnd(text[at]) && width < kWidth; ++width) {
        const std::string_view character = FirstCharacter(text.substr(at));
        const bool blank = character == " " || character == "\t";
        marked.line += blank ? " " : Harmless(character);
        if (at < offset) {
            marked.mark += ' ';
        } else if (at == offset || at < offset + length) {
            marked.mark += at == offset ? '^' : '~';
        }
        at += character.size();
    }
    if (at <= offset) marked.mark += '^';
    if (at < text.size() && !IsLineEnd(text[at])) marked.line += "...";
    return marked;
}

std::string Shown(std::string_view text, size_t most) {
    std::string shown;
    for (size_t width = 0; !text.empty() && width < most; ++width) {
        const std::string_view character = FirstCharacter(text);
        shown += Harmless(character);
        text.remove_prefix(character.size());
    }
    return text.empty() ? shown : shown + "...";
}

}  // namespace zwmgmt::policy
