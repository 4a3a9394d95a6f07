#include "hls.h"

#include <openssl/evp.h>

#include <cstdio>
#include <ctime>
#include <memory>

namespace tqlsim {

namespace {

const char* const kId3Owner = "tqlsim.programDateTime";

// A number as 4 bytes of 7 bits each, as ID3 writes sizes.
std::string syncSafe(size_t n)
{
    std::string out(4, '\0');
    for (int i = 3; i >= 0; --i, n >>= 7)
        out[static_cast<size_t>(i)] = static_cast<char>(n & 0x7f);
    return out;
}

bool digits(const std::string& text, size_t at, size_t count, int& out)
{
    out = 0;
    for (size_t i = at; i < at + count; ++i) {
        if (i >= text.size() || text[i] < '0' || text[i] > '9')
            return false;
        out = out * 10 + (text[i] - '0');
    }
    return true;
}

// "Z", or "+HH:MM" / "-HH:MM", into seconds east of UTC.
bool zoneOffset(const std::string& zone, int& seconds)
{
    seconds = 0;
    if (zone == "Z")
        return true;
    int hours = 0, minutes = 0;
    if (zone.size() != 6 || (zone[0] != '+' && zone[0] != '-') || zone[3] != ':' ||
        !digits(zone, 1, 2, hours) || !digits(zone, 4, 2, minutes))
        return false;
    seconds = (hours * 60 + minutes) * 60 * (zone[0] == '-' ? -1 : 1);
    return true;
}

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)>;

}  // namespace

std::string programTime(int64_t ms)
{
    int64_t secs = ms / 1000;
    int millis = static_cast<int>(ms % 1000);
    if (millis < 0) {
        millis += 1000;
        --secs;
    }
    std::time_t t = static_cast<std::time_t>(secs);
    std::tm tm{};
    gmtime_r(&t, &tm);
    char buf[64];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02dT%02d:%02d:%02d.%03d+00:00", tm.tm_year + 1900,
                  tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, millis);
    return buf;
}

bool parseProgramTime(const std::string& text, int64_t& ms)
{
    std::tm tm{};
    int millis = 0, offset = 0;
    if (text.size() < 24 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' ||
        text[16] != ':' || text[19] != '.' || !digits(text, 0, 4, tm.tm_year) ||
        !digits(text, 5, 2, tm.tm_mon) || !digits(text, 8, 2, tm.tm_mday) ||
        !digits(text, 11, 2, tm.tm_hour) || !digits(text, 14, 2, tm.tm_min) ||
        !digits(text, 17, 2, tm.tm_sec) || !digits(text, 20, 3, millis) ||
        !zoneOffset(text.substr(23), offset))
        return false;
    if (tm.tm_mon < 1 || tm.tm_mon > 12 || tm.tm_mday < 1 || tm.tm_mday > 31 || tm.tm_hour > 23 ||
        tm.tm_min > 59 || tm.tm_sec > 59)
        return false;
    tm.tm_year -= 1900;
    tm.tm_mon -= 1;
    ms = (static_cast<int64_t>(timegm(&tm)) - offset) * 1000 + millis;
    return true;
}

std::string chunkName(const std::string& asset, int64_t seq)
{
    return asset + "_" + kChunkRate + "_1_0_" + std::to_string(seq) + "_5.aac";
}

bool parseChunkName(const std::string& name, const std::string& asset, int64_t& seq)
{
    const std::string head = asset + "_" + kChunkRate + "_1_0_";
    const std::string tail = "_5.aac";
    if (name.size() <= head.size() + tail.size() || name.compare(0, head.size(), head) != 0 ||
        name.compare(name.size() - tail.size(), tail.size(), tail) != 0)
        return false;
    const std::string number = name.substr(head.size(), name.size() - head.size() - tail.size());
    if (number.size() > 15 || number[0] == '0' || number.find_first_not_of("0123456789") != std::string::npos)
        return false;
    seq = std::stoll(number);
    return true;
}

std::string id3Tag(int64_t programMs)
{
    std::string data = std::string(kId3Owner) + '\0' + programTime(programMs);
    std::string frame = "PRIV" + syncSafe(data.size()) + std::string(2, '\0') + data;
    return std::string("ID3\x04\x00\x00", 6) + syncSafe(frame.size()) + frame;
}

bool encryptChunk(const std::string& plain, const std::string& key, int64_t seq, std::string& out)
{
    if (key.size() != static_cast<size_t>(kKeyBytes))
        return false;
    unsigned char iv[16] = {0};
    uint64_t number = static_cast<uint64_t>(seq);
    for (int i = 0; i < 8; ++i)
        iv[15 - i] = static_cast<unsigned char>(number >> (8 * i));
    CipherContext ctx(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    const auto* k = reinterpret_cast<const unsigned char*>(key.data());
    if (!ctx || EVP_EncryptInit_ex(ctx.get(), EVP_aes_128_cbc(), nullptr, k, iv) != 1)
        return false;
    out.assign(plain.size() + 16, '\0');
    auto* dst = reinterpret_cast<unsigned char*>(&out[0]);
    int written = 0, last = 0;
    if (EVP_EncryptUpdate(ctx.get(), dst, &written, reinterpret_cast<const unsigned char*>(plain.data()),
                          static_cast<int>(plain.size())) != 1 ||
        EVP_EncryptFinal_ex(ctx.get(), dst + written, &last) != 1)
        return false;
    out.resize(static_cast<size_t>(written + last));
    return true;
}

bool hexKey(const std::string& hex, std::string& key)
{
    if (hex.size() != static_cast<size_t>(kKeyBytes) * 2 ||
        hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return false;
    key.clear();
    for (size_t i = 0; i < hex.size(); i += 2)
        key += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return true;
}

}  // namespace tqlsim
