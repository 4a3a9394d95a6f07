#ifndef TAMBER_NODE_RESPONDER_H
#define TAMBER_NODE_RESPONDER_H

#include "tamberChunk.h"
#include "tamberTokens.h"
#include "tamberTypes/tamberDateTime.h"
#include "tamberTypes/tamberTimer.h"
#include "tqllib.h"

class tql_core;

// The streaming engine. It keeps the request and the token of the playback,
// which a session resume reuses, and tells the host when a tile list it
// holds has expired.
class CMTamberNodeResponder {
public:
    static const int kRefreshTimerId = 6;
    static const int kRefreshPeriodMs = 60000;

    explicit CMTamberNodeResponder(tql_core* core);
    virtual ~CMTamberNodeResponder();
    CMTamberNodeResponder(const CMTamberNodeResponder&) = delete;
    CMTamberNodeResponder& operator=(const CMTamberNodeResponder&) = delete;

    tql_core* getCore() const { return m_core; }

    // When the tiles of a list go stale; the notification repeats every
    // minute from then until a new list sets a new time.
    void setExpireTimestamp(tql_moduleType module, const tamberTime& expiry);
    static void on_refreshNotificationTimerTimeout(void* self, int id);

    // Audio output: the decrypted pieces of the current chunk go to the
    // host's write function with the ID3 tag and any cut bytes removed.
    // What the host does not take waits here, by pointer.
    int handleAudioStream(unsigned char* buffer, unsigned char* data, unsigned int length);
    int sendData();
    void skipID3tag(unsigned char** data, unsigned int* length);
    int adtsSync(unsigned char** data, unsigned int* length);
    unsigned long skipData(bool* resync, unsigned long toSkip, unsigned char** data, unsigned int* length);
    static unsigned chunkCutBytes(unsigned bitRate, unsigned ms);

    tokenRequestStrT m_tokenRequest;
    tokenDataT m_tokenData;
    tamberChunk m_currentChunk;
    uint32_t m_decryptedChunkLength = 0;
    tql_channel_ctx m_channelCtx{};
    uint32_t m_streamBitRate = 0;
    int m_busy = 0;
    int m_terminate = 0;
    uint32_t m_bufferedMs = 0;

private:
    tql_core* m_core;
    tql_timer* m_refreshTimer;
    tamberTime m_expireTimestamp[3];
};

#endif
