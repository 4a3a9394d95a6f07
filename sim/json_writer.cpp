#include "json_writer.h"

#include <cstdio>

namespace tqlsim {

namespace {

// Length of the well-formed UTF-8 sequence at text[i], or 0 if there is none.
size_t utf8Length(const std::string& text, size_t i)
{
    auto byte = [&](size_t k) { return static_cast<unsigned char>(text[i + k]); };
    unsigned char c = byte(0);
    if (c < 0x80)
        return 1;
    size_t n = c >= 0xc2 && c <= 0xdf ? 2 : c >= 0xe0 && c <= 0xef ? 3 : c >= 0xf0 && c <= 0xf4 ? 4 : 0;
    if (n == 0 || i + n > text.size())
        return 0;
    for (size_t k = 1; k < n; ++k)
        if ((byte(k) & 0xc0) != 0x80)
            return 0;
    // No overlong forms, no surrogates, nothing above U+10FFFF.
    if ((c == 0xe0 && byte(1) < 0xa0) || (c == 0xed && byte(1) > 0x9f) ||
        (c == 0xf0 && byte(1) < 0x90) || (c == 0xf4 && byte(1) > 0x8f))
        return 0;
    return n;
}

}  // namespace

// Invalid UTF-8 becomes U+FFFD, so that any text gives valid JSON.
std::string jsonQuote(const std::string& text)
{
    std::string out;
    out.reserve(text.size() + 2);
    out += '"';
    for (size_t i = 0; i < text.size();) {
        size_t n = utf8Length(text, i);
        if (n == 0) {
            out += "\\ufffd";
            ++i;
            continue;
        }
        if (n > 1) {
            out.append(text, i, n);
            i += n;
            continue;
        }
        unsigned char c = static_cast<unsigned char>(text[i++]);
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                char buf[8];
                std::snprintf(buf, sizeof buf, "\\u%04x", c);
                out += buf;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    out += '"';
    return out;
}

void JsonWriter::separate()
{
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (!hasItem_.empty()) {
        if (hasItem_.back())
            out_ += ',';
        hasItem_.back() = true;
    }
}

void JsonWriter::open(char bracket)
{
    separate();
    out_ += bracket;
    hasItem_.push_back(false);
}

void JsonWriter::close(char bracket)
{
    if (!hasItem_.empty())
        hasItem_.pop_back();
    out_ += bracket;
}

JsonWriter& JsonWriter::beginObject() { open('{'); return *this; }
JsonWriter& JsonWriter::endObject() { close('}'); return *this; }
JsonWriter& JsonWriter::beginArray() { open('['); return *this; }
JsonWriter& JsonWriter::endArray() { close(']'); return *this; }

JsonWriter& JsonWriter::key(const std::string& name)
{
    separate();
    out_ += jsonQuote(name);
    out_ += ':';
    afterKey_ = true;
    return *this;
}

JsonWriter& JsonWriter::value(const std::string& text)
{
    separate();
    out_ += jsonQuote(text);
    return *this;
}

JsonWriter& JsonWriter::value(const char* text)
{
    return value(std::string(text ? text : ""));
}

JsonWriter& JsonWriter::value(long long number)
{
    separate();
    out_ += std::to_string(number);
    return *this;
}

JsonWriter& JsonWriter::value(bool flag)
{
    separate();
    out_ += flag ? "true" : "false";
    return *this;
}

}  // namespace tqlsim
