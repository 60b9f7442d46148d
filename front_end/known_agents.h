/// The agents whose keys this user knows: a text file, a line an agent ("node7:35001 SHA256:..."),
/// as OpenSSH keeps those of hosts. Safe for any number of processes and threads at once.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "front_end/target.h"

namespace zwcli {

struct KnownKey {
    std::string name;  // as Target::Name writes it, or hashed
    std::string fingerprint;
    int line = 0;

    bool IsOf(const std::string& agent) const;
};

/// Whether the text has the form of a fingerprint.
bool IsFingerprint(std::string_view text);

/// Hosts are the same in any case; zones are not.
std::string NameOf(const Target& target);

class KnownAgents {
  public:
    enum Verdict { kKnown, kUnknown, kOtherKey, kTrouble };

    /// Beside the verdict: the line that knows another key, or what the trouble is.
    struct Answer {
        Verdict verdict = kUnknown;
        KnownKey known = {};
        std::string trouble = "";
    };

    explicit KnownAgents(std::string path) : file(std::move(path)) {}

    const std::string& File() const { return file; }

    /// False, with the reason in *trouble, when there is a file that cannot be read, or a line in
    /// it that cannot be understood. Without a file nobody is known.
    bool Read(std::vector<KnownKey>* keys, std::string* trouble) const;

    Answer LookUp(const Target& target, const std::string& fingerprint) const;

    /// Adds the agent where it is not known: kUnknown means that it was not, and now is. With
    /// `hashed` its name cannot be read from the file.
    Answer Record(const Target& target, const std::string& fingerprint, bool hashed) const;

    /// Takes the agents' lines out and returns how many there were; -1 with the reason in *trouble.
    int Remove(const std::vector<Target>& targets, std::string* trouble) const;

  private:
    /// The file's text, empty where there is no file; why it cannot be read, or "".
    std::string ReadText(std::string* text) const;
    /// What is to be said of a line that is none; "" for 0.
    std::string WrongLine(int number) const;
    Answer Look(const Target& target, const std::string& fingerprint) const;
    std::string Locked(const std::function<std::string()>& change) const;

    std::string file;
};

}  // namespace zwcli
