#ifndef SCRIPTED_STREAM_H
#define SCRIPTED_STREAM_H

// A stream as the service offers it, added as routes of the scripted port:
// the tune reply, variant files with three rates on two servers, an index
// file per rate, the stream keys and the encrypted chunks. Each chunk is an
// ID3 tag followed by ADTS frames that tell the chunk apart, block-padded and
// run through the scripted cipher with key 1 and its sequence number.
#include <string>
#include <vector>

namespace testport {

class ScriptedStream {
public:
    static const char* const kServer;   // "https://live.test/"
    static const int kStreams = 3;      // rates in the variant file
    static const int kChunkSeconds = 10;

    int firstSeq = 100;
    int chunks = 6;
    int framesPerChunk = 12;  // ADTS frames of 32 bytes and 64 ms each
    std::string rate = "64k";  // as the chunk names write it
    bool onDemand = false;    // the tune answers as an episode
    int tokenSeconds = 600;   // how long the tune's URLs stay good
    int noopSeconds = 600;    // the no-op period the service asks for
    std::string timeline;     // more members of the tune's data: marker lists, cue points
    size_t pieceSize = 1460;  // chunks arrive in pieces of this size
    std::string firstProgramTime = "2023-11-14T22:10:00.000+00:00";
    // Key 1 is the device's fixed key: a token renewal puts the fixed key
    // back in its place, and the key file serves the same bytes.
    std::vector<unsigned char> key1 = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef};

    // Routes for both servers and every rate.
    void install() const;

    static std::string server(bool secondary) { return std::string(kServer) + (secondary ? "secondary/" : "primary/"); }
    std::string indexUrl(bool secondary, int stream) const;
    std::string chunkName(int seq) const;
    std::string chunkUrl(bool secondary, int stream, int seq) const;
    // What the host must receive of a chunk: its ADTS frames, nothing else.
    std::string audio(int seq) const;
    std::string body(int seq) const;
    std::string indexFile() const;
    std::string tuneReply() const;
};

} // namespace testport

#endif
