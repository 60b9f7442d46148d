/// Writes JSON (RFC 8259) piece by piece. Whatever the texts hold, what comes out is valid.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace zwmgmt {

/// Where text goes: it gathers, and leaves in large pieces where there is a stream.
class TextSink {
  public:
    explicit TextSink(std::string* whole) : text(*whole) {}
    TextSink(std::string* piece, FILE* out) : text(*piece), stream(out) {}

    void Add(std::string_view more) {
        text += more;
        if (stream != nullptr && text.size() >= kPiece) Flush();
    }
    void Add(char more) { text += more; }

    void Flush() {
        if (stream == nullptr) return;
        std::fwrite(text.data(), 1, text.size(), stream);
        text.clear();
    }

  private:
    static constexpr size_t kPiece = 64 * 1024;
    std::string& text;
    FILE* stream = nullptr;
};

class JsonWriter {
  public:
    /// indented: a line a value; otherwise all in one line.
    JsonWriter(TextSink& out, bool indented) : sink(out), lines(indented) {}

    void BeginObject() { Begin('{'); }
    void EndObject() { End('}'); }
    void BeginArray() { Begin('['); }
    void EndArray() { End(']'); }

    /// In an object before each value.
    void Key(std::string_view name);

    /// A key with its value.
    void Member(std::string_view name, std::string_view text) {
        Key(name);
        Text(text);
    }
    void Member(std::string_view name, uint64_t number) {
        Key(name);
        Unsigned(number);
    }

    void Text(std::string_view text);
    void Integer(int64_t number);
    void Unsigned(uint64_t number);
    void Flag(bool on);
    void Null();

  private:
    void Begin(char bracket);
    void End(char bracket);
    void Place();
    void NewLine();
    void Quote(std::string_view text);

    TextSink& sink;
    const bool lines;
    size_t depth = 0;
    bool first = true;  // in the innermost bracket
    bool named = false;
};

}  // namespace zwmgmt
