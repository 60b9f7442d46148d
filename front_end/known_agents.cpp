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
#include <sstream>

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

/// A line of the file; false for one that says nothing.
bool SaysSomething(const std::string& line) {
    const size_t first = line.find_first_not_of(" \t\r");
    return first != line.npos && line[first] != '#';
}

bool ParseLine(const std::string& line, KnownKey* key) {
    std::istringstream words(line);
    return words >> key->name >> key->fingerprint && IsFingerprint(key->fingerprint);
}

KnownAgents::Answer Judge(const std::vector<KnownKey>& keys, const std::string& name,
                          const std::string& fingerprint) {
    KnownAgents::Answer answer;
    for (const KnownKey& key : keys) {
        if (!key.IsOf(name)) continue;
        if (key.fingerprint == fingerprint) return {.verdict = KnownAgents::kKnown, .known = key};
        if (answer.verdict == KnownAgents::kUnknown) {
            answer = {.verdict = KnownAgents::kOtherKey, .known = key};
        }
    }
    return answer;
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

bool IsFingerprint(const std::string& text) {
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

bool KnownKey::IsOf(const std::string& agent) const {
    const size_t end_of_salt = name.rfind(kHashMark);
    if (name[0] != kHashMark || end_of_salt == 0) return name == agent;
    return name == Hashed(agent, name.substr(1, end_of_salt - 1));
}

bool KnownAgents::Read(std::vector<KnownKey>* keys, std::string* trouble) const {
    keys->clear();
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored)) return true;
    std::ifstream stream(file, std::ios::binary);
    std::string line;
    for (int number = 1; std::getline(stream, line); ++number) {
        if (!SaysSomething(line)) continue;
        KnownKey& key = keys->emplace_back();
        key.line = number;
        if (!ParseLine(line, &key)) {
            *trouble =
                file + " line " + std::to_string(number) + " is not \"HOST:PORT SHA256:...\"";
            return false;
        }
    }
    if (stream.eof()) return true;
    *trouble = "cannot read " + file + ": " + std::strerror(errno);
    return false;
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
    std::vector<KnownKey> keys;
    std::string trouble;
    if (!Read(&keys, &trouble)) return {.verdict = kTrouble, .trouble = trouble};
    return Judge(keys, NameOf(target), fingerprint);
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
        const std::string draft = file + ".new";
        reason = Write(draft, "wb", kept);
        std::error_code failure;
        if (reason.empty()) std::filesystem::rename(draft, file, failure);
        if (failure) reason = failure.message();
        return reason.empty() ? "" : "cannot write " + file + ": " + reason;
    });
    return trouble->empty() ? removed : -1;
}

}  // namespace zwcli
