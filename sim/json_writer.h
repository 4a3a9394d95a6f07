// Small streaming JSON writer: commas and escaping are handled here, the
// caller only says what comes next.
#pragma once

#include <string>
#include <vector>

namespace tqlsim {

class JsonWriter {
public:
    JsonWriter& beginObject();
    JsonWriter& endObject();
    JsonWriter& beginArray();
    JsonWriter& endArray();
    JsonWriter& key(const std::string& name);
    JsonWriter& value(const std::string& text);
    JsonWriter& value(const char* text);
    JsonWriter& value(long long number);
    JsonWriter& value(int number) { return value(static_cast<long long>(number)); }
    JsonWriter& value(bool flag);

    template <typename T>
    JsonWriter& field(const std::string& name, const T& v)
    {
        key(name);
        return value(v);
    }

    const std::string& str() const { return out_; }

private:
    void separate();
    void open(char bracket);
    void close(char bracket);

    std::string out_;
    std::vector<bool> hasItem_;  // one entry per open container
    bool afterKey_ = false;
};

// Escapes a text as a JSON string literal, quotes included.
std::string jsonQuote(const std::string& text);

}  // namespace tqlsim
