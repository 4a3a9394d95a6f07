#ifndef SCRIPTED_CLIP_CHANNEL_H
#define SCRIPTED_CLIP_CHANNEL_H

// A clip channel as the service offers it, added as routes of the scripted
// port: the tune reply with the first clips, refresh replies with the next
// ones (one scripted reply per refresh, in order), and for every clip its
// variant file on two servers, an index file per rate, the key and the
// encrypted chunks. Each clip's chunks hold ADTS frames that tell the clip
// and the chunk apart; chunks are numbered from 1 in every clip.
#include <string>
#include <vector>

namespace testport {

class ScriptedClipChannel {
public:
    static const char* const kServer; // "https://live.test/clips/"
    static const int kStreams = 3;
    static const int kChunkSeconds = 10;

    std::string channelGuid = "mixtape-guid";
    std::string channelName = "Mix Tape";
    int clipsAtTune = 4;     // clips of the tune reply: 0 .. clipsAtTune-1
    int clipsPerRefresh = 3; // clips each refresh reply adds; 0: a refresh brings nothing
    int refreshes = 6;       // refresh replies scripted
    int chunksPerClip = 3;
    int framesPerChunk = 12; // of 32 bytes each
    std::string rate = "64k";
    // The channel's skip rule, as the reply's dmcaInfo object.
    std::string dmca = R"({"irNavClass":"RESTRICTED","maxFwdSkips":2,"maxBackSkips":1,"fwdSkipDur":12,"backSkipDur":12})";
    int tokenSeconds = 600;
    int noopSeconds = 600;
    size_t pieceSize = 1460;
    std::vector<unsigned char> key1 = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef};

    void install() const;

    int clipCount() const { return clipsAtTune + clipsPerRefresh * refreshes; }
    double clipSeconds() const { return chunksPerClip * kChunkSeconds; }
    std::string clipGuid(int clip) const { return "clip" + std::to_string(clip); }
    std::string title(int clip) const { return "Clip title " + std::to_string(clip); }
    std::string variantUrl(int clip, bool secondary) const;
    std::string indexUrl(int clip, bool secondary, int stream) const;
    std::string chunkUrl(int clip, bool secondary, int stream, int seq) const;
    // What the host must receive of a chunk, and of a whole clip.
    std::string audio(int clip, int seq) const;
    std::string clipAudio(int clip) const;
    std::string indexFile(int clip) const;
    // A module of clips first .. first+count-1, for a tune or a refresh.
    std::string reply(int first, int count) const;
    std::string tuneUrlPrefix() const;
    std::string refreshUrl() const;

private:
    std::string body(int clip, int seq) const;
};

} // namespace testport

#endif
