// The stream's file formats: program times, chunk names, the ID3 tag ahead
// of a chunk's audio and the chunk encryption. Plain functions, no state.
#pragma once

#include <cstdint>
#include <string>

namespace tqlsim {

// Every chunk holds this much audio, on demand and live alike.
const int64_t kChunkMs = 8000;
// The chunks are named with this rate whatever stream lists them: it is the
// rate of the fixture, and the library reads a chunk's rate from its name.
const char* const kChunkRate = "32k";
const int kKeyBytes = 16;

// Milliseconds since the epoch as "YYYY-MM-DDTHH:MM:SS.mmm+00:00".
std::string programTime(int64_t ms);
// Reads that form, with "Z" or another "+HH:MM"/"-HH:MM" offset too.
bool parseProgramTime(const std::string& text, int64_t& ms);

// "<asset>_32k_1_0_<seq>_5.aac": key index 1 encrypts every chunk.
std::string chunkName(const std::string& asset, int64_t seq);
// The sequence number of a chunk name of that asset; false for any other
// name, so that only names this simulator gives out are served.
bool parseChunkName(const std::string& name, const std::string& asset, int64_t& seq);

// An ID3v2.4 tag with one PRIV frame that carries the chunk's program time
// as text. Text, because the library finds the audio behind the tag by the
// first FF F1 bytes: a binary time stamp could hold them.
std::string id3Tag(int64_t programMs);

// AES-128-CBC with PKCS#7 padding; the IV is the sequence number as a
// 16-byte big-endian number. False if OpenSSL fails.
bool encryptChunk(const std::string& plain, const std::string& key, int64_t seq, std::string& out);

// 32 hex digits into 16 bytes; false for anything else.
bool hexKey(const std::string& hex, std::string& key);

}  // namespace tqlsim
