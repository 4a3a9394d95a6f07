#ifndef TAMBER_PLAYLIST_PARSER_H
#define TAMBER_PLAYLIST_PARSER_H

#include <cstdint>

#include "tamberTypes/tamberByteArray.h"
#include "tamberTypes/tamberList.h"
#include "tamberTypes/tamberString.h"
#include "tamberTypes/tamberUrl.h"

class TamberRequest;
class tokenDataT;
struct tokenRequestStrT;

// What an index file says about its stream as a whole: where the key comes
// from, or the key itself.
class TQL_HlsInfo {
public:
    TQL_HlsInfo() = default;
    // A copy's keyUriCopy is the source's keyUri: the engine reads the key
    // location from that field of the list's last element.
    TQL_HlsInfo(const TQL_HlsInfo& other);
    TQL_HlsInfo& operator=(const TQL_HlsInfo& other);
    virtual ~TQL_HlsInfo() {}

    tql_string streamTail;  // an entry line less its first 8 characters, from an entry without a title
    tql_string keyUri;      // absolute URL of the stream key
    tql_bytearray keyData;  // base64 text of an inline key, still encoded
    tql_string keyUriCopy;
};

// One entry of a variant or index file.
struct tql_roles {
    tql_string name;  // unused
    tql_string uri;   // base URL of the file + the entry line
    int bitRate = 0;  // BANDWIDTH of the preceding stream tag
    int duration = 0; // whole seconds of the preceding EXTINF
    tql_string title; // unused
    tql_string programDateTime;
    TQL_HlsInfo hlsInfo; // filled only in the list's last element
    uint64_t cutBytes = 0;
    tql_list<tql_bytearray> keys;
    int32_t cutOffsetMs = 0;
};

// Reads the HLS text files of a stream. A parsed list holds one element per
// entry, then one more that carries only the file's TQL_HlsInfo; readers stop
// one short of the end and take the key from that last element.
class TamberPlaylistParser {
public:
    explicit TamberPlaylistParser(TamberRequest& request) : m_tamberRequest(&request) {}
    virtual ~TamberPlaylistParser() {}

    // Downloads and parses one file. 1 also for a file without entries (out
    // then stays empty); -1 when it cannot be had or is not a playlist.
    // url follows a redirect.
    int doParse(tql_url& url, tql_list<tql_roles>& out);
    // The same with a number of tries and the seconds between them.
    int doParse(tql_url& url, tql_list<tql_roles>& out, int tries, int sleepSeconds);
    // The variant file of the current tune, from the server in use or, when
    // little audio is left, from the other one. 1 or -1.
    int tamberDownloadVariantFile(tokenDataT& tokenData, tokenRequestStrT& request, tql_list<tql_roles>& out,
                                  int dataLeftMs);

private:
    TamberRequest* m_tamberRequest;
};

#endif
