#include "front_end/known_agents.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "commands/texts.h"
#include "platform/file.h"
#include "zwmgmt/trust.h"

namespace zwcli {
namespace {

constexpr char kHashMark = '|';
constexpr size_t kSaltSize = 16;
constexpr std::string_view kFingerprintHead = zwmgmt::kFingerprintHead;

std::string Base64(const unsigned char* bytes, int length) {
    std::string text(static_cast<size_t>(length + 2) / 3 * 4 + 1, '\0');
    text.resize(static_cast<size_t>(
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes, length)));
    return text;
}

/// "|SALT|HASH": whoever has the file can ask for a name, but not read it. `salt` in base 64.
std::string Hashed(const std::string& name, const std::string& salt) {
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    HMAC(EVP_sha256(), salt.data(), static_cast<int>(salt.size()),
         reinterpret_cast<const unsigned char*>(name.data()), name.size(), hash, &length);
    return kHashMark + salt + kHashMark + Base64(hash, static_cast<int>(length));
}

std::string HashedAnew(const std::string& name) {
    unsigned char salt[kSaltSize];
    if (RAND_bytes(salt, sizeof(salt)) != 1) return "";
    return Hashed(name, Base64(salt, sizeof(salt)));
}

/// A line of the file that names an agent.
struct KnownLine {
    int number;
    std::string_view name;
    std::string_view fingerprint;
};

/// Takes the next piece between white space off the front of a line; "" where there is none.
std::string_view NextWord(std::string_view* line) {
    constexpr std::string_view kWhite = " \t\r";
    line->remove_prefix(std::min(line->find_first_not_of(kWhite), line->size()));
    const std::string_view word = line->substr(0, line->find_first_of(kWhite));
    line->remove_prefix(word.size());
    return word;
}

/// Shows the lines of a file's text; the number of the first that is none, or 0. With many agents
/// at once the file is read many times: nothing here allocates.
template <class Show>
int ForEachLine(std::string_view text, Show show) {
    for (int number = 1; !text.empty(); ++number) {
        const size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        KnownLine known = {number, NextWord(&line), NextWord(&line)};
        if (known.name.empty() || known.name[0] == '#') continue;
        if (!IsFingerprint(known.fingerprint)) return number;
        show(known);
    }
    return 0;
}

/// Whether a name in the file is the agent's.
bool IsNameOf(std::string_view name, const std::string& agent) {
    const size_t end_of_salt = name.rfind(kHashMark);
    if (name[0] != kHashMark || end_of_salt == 0) return name == agent;
    return name == Hashed(agent, std::string(name.substr(1, end_of_salt - 1)));
}

/// Writes the text and closes the file; the reason when that fails.
std::string Write(const std::string& path, const char* mode, const std::string& text) {
    FILE* stream = std::fopen(path.c_str(), mode);
    if (stream == nullptr) return std::strerror(errno);
    // One write, so that no reader sees half a line.
    std::setvbuf(stream, nullptr, _IOFBF, text.size() + 1);
    const bool written =
        std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
    const std::string reason = written ? "" : std::strerror(errno);
    std::fclose(stream);
    return reason;
}

bool EndsInMidLine(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    stream.seekg(-1, std::ios::end);
    return stream && stream.get() != '\n';
}

}  // namespace

bool IsFingerprint(std::string_view text) {
    return text.size() == zwmgmt::kFingerprintLength && text.starts_with(kFingerprintHead) &&
           std::all_of(text.begin() + kFingerprintHead.size(), text.end(), [](char c) {
               return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                      c == '+' || c == '/';
           });
}

std::string NameOf(const Target& target) {
    std::string name = target.Name();
    const auto zone = std::ranges::find(name, '%');
    std::transform(name.begin(), zone, name.begin(), zwmgmt::ToLower);
    return name;
}

bool KnownKey::IsOf(const std::string& agent) const { return IsNameOf(name, agent); }

std::string KnownAgents::ReadText(std::string* text) const {
    text->clear();
    std::error_code failure;
    const std::filesystem::file_status status = std::filesystem::status(file, failure);
    if (status.type() == std::filesystem::file_type::not_found) return "";
    if (!std::filesystem::is_regular_file(status)) {
        return "cannot read " + file + ": " + (failure ? failure.message() : "it is no file");
    }
    std::ifstream stream(file, std::ios::binary | std::ios::ate);
    const auto size = stream.tellg();
    if (size > 0) {
        text->resize(static_cast<size_t>(size));
        stream.seekg(0);
        stream.read(text->data(), size);
        text->resize(static_cast<size_t>(stream.gcount()));
    }
    return stream || stream.eof() ? "" : "cannot read " + file + ": " + std::strerror(errno);
}

std::string KnownAgents::WrongLine(int number) const {
    if (number == 0) return "";
    return file + " line " + std::to_string(number) + " is not \"HOST:PORT SHA256:...\"";
}

bool KnownAgents::Read(std::vector<KnownKey>* keys, std::string* trouble) const {
    keys->clear();
    std::string text;
    *trouble = ReadText(&text);
    if (!trouble->empty()) return false;
    *trouble = WrongLine(ForEachLine(text, [&](const KnownLine& line) {
        keys->push_back({std::string(line.name), std::string(line.fingerprint), line.number});
    }));
    return trouble->empty();
}

KnownAgents::Answer KnownAgents::LookUp(const Target& target,
                                        const std::string& fingerprint) const {
    Answer answer = Look(target, fingerprint);
    // Somebody may have been writing: then it is looked at again when he is done.
    if (answer.verdict == kTrouble) {
        Locked([&] {
            answer = Look(target, fingerprint);
            return std::string();
        });
    }
    return answer;
}

KnownAgents::Answer KnownAgents::Look(const Target& target, const std::string& fingerprint) const {
    const std::string name = NameOf(target);
    std::string text;
    Answer answer;
    std::string trouble = ReadText(&text);
    if (trouble.empty()) {
        trouble = WrongLine(ForEachLine(text, [&](const KnownLine& line) {
            if (answer.verdict == kKnown || !IsNameOf(line.name, name)) return;
            const bool same = line.fingerprint == fingerprint;
            if (!same && answer.verdict == kOtherKey) return;
            answer.verdict = same ? kKnown : kOtherKey;
            answer.known = {std::string(line.name), std::string(line.fingerprint), line.number};
        }));
    }
    if (!trouble.empty()) return {.verdict = kTrouble, .trouble = trouble};
    return answer;
}

/// Makes a change while nobody else makes one; returns why it was not made.
std::string KnownAgents::Locked(const std::function<std::string()>& change) const {
    if (file.empty()) return "this user has no home to keep keys in; use --known-agents";
    std::error_code failure;
    const std::filesystem::path folder = std::filesystem::path(file).parent_path();
    if (!folder.empty()) std::filesystem::create_directories(folder, failure);
    if (failure) return "cannot make " + folder.string() + ": " + failure.message();
    const std::string lock_file = file + ".lock";
    const zwmgmt::platform::FileLock lock(lock_file.c_str());
    if (!lock.Held()) return "cannot write " + lock_file + ": " + std::strerror(errno);
    return change();
}

KnownAgents::Answer KnownAgents::Record(const Target& target, const std::string& fingerprint,
                                        bool hashed) const {
    const std::string name = NameOf(target);
    Answer answer;
    answer.trouble = Locked([&]() -> std::string {
        // Somebody else may have been first.
        answer = Look(target, fingerprint);
        if (answer.verdict != kUnknown) return answer.trouble;
        const std::string shown = hashed ? HashedAnew(name) : name;
        if (shown.empty()) return "no random numbers to be had";
        const std::string line =
            (EndsInMidLine(file) ? "\n" : "") + shown + " " + fingerprint + "\n";
        const std::string reason = Write(file, "ab", line);
        return reason.empty() ? "" : "cannot write " + file + ": " + reason;
    });
    if (!answer.trouble.empty()) answer.verdict = kTrouble;
    return answer;
}

int KnownAgents::Remove(const std::vector<Target>& targets, std::string* trouble) const {
    int removed = 0;
    *trouble = Locked([&]() -> std::string {
        std::vector<KnownKey> keys;
        std::string reason;
        if (!Read(&keys, &reason)) return reason;
        std::erase_if(keys, [&](const KnownKey& key) {
            return std::ranges::none_of(
                targets, [&](const Target& target) { return key.IsOf(NameOf(target)); });
        });
        removed = static_cast<int>(keys.size());
        if (removed == 0) return "";
        std::ifstream stream(file, std::ios::binary);
        std::string kept, line;
        for (int number = 1; std::getline(stream, line); ++number) {
            if (std::ranges::find(keys, number, &KnownKey::line) == keys.end()) kept += line + "\n";
        }
        stream.close();
        std::error_code failure;
        const std::string real = std::filesystem::canonical(file, failure).string();
        const std::string draft = real + ".new";
        if (!failure) reason = Write(draft, "wb", kept);
        if (!failure && reason.empty()) std::filesystem::rename(draft, real, failure);
        if (failure) reason = failure.message();
        return reason.empty() ? "" : "cannot write " + file + ": " + reason;
    });
    return trouble->empty() ? removed : -1;
}

}  // namespace zwcli
