// Files from the streaming servers: index and key files collected whole,
// audio chunks decrypted in place while they arrive and handed to the engine
// by pointer, and the fields the service packs into a chunk's name.
#include <cstring>

#include "tamberChunk.h"
#include "tamberCore.h"
#include "tamberRequest.h"
#include "tamberTypes/tamberDebug.h"

namespace {
const int kConnectTimeout = 10;
const int kTotalTimeout = 25;
const unsigned int kMaxPadding = 16; // one cipher block
} // namespace

int TamberRequest::tamberDownloadFile(tql_url& url, unsigned char** data, unsigned int* length, int retries,
                                      int sleepSeconds)
{
    if (url.isEmpty()) {
        TQL_LOG(1, "TamberRequest::tamberDownloadFile empty Url. this should not happen!!");
        setLibraryErrorResponse(tamberErrorContentUnavailable, 0);
        return -1;
    }
    TQL_LOG(3, "TamberRequest::tamberDownloadFile url: %s ", url.toString().c_str());
    m_networkError = 0;
    while (retries > 0) {
        // A pass is one request, and a second one only to follow a redirect.
        for (int request = 0; request < 2; ++request) {
            DownloadStep step = downloadStep(url, data, length);
            if (step == DownloadStep::Done)
                return 1;
            if (step == DownloadStep::Final)
                return -1;
            if (step == DownloadStep::Failed)
                break;
        }
        // A transport failure is not tried again.
        if (m_networkError) {
            TQL_LOG(1, "Terminating download!!!");
            return -1;
        }
        tql_sleep(sleepSeconds);
        --retries;
    }
    return -1;
}

TamberRequest::DownloadStep TamberRequest::downloadStep(tql_url& url, unsigned char** data, unsigned int* length)
{
    if (url.isEmpty()) {
        TQL_LOG(1, "Url is empty ");
        setLibraryErrorResponse(tamberErrorContentUnavailable, 0);
        return DownloadStep::Failed;
    }
    clearBufferData();
    if (!tamberRequest(url, 0, "", kConnectTimeout, kTotalTimeout)) {
        setLibraryErrorResponse(tamberErrorUnreachable, 0);
        TQL_LOG(1, "TamberRequest::tamberDownloadFile HTTP error. primary URL %s ", url.toString().c_str());
        return DownloadStep::Failed;
    }
    // A reply without a body was never parsed on the way.
    parseHttpHeader(m_headerData, m_httpHeader);
    int status = m_httpHeader.http11Status;
    if (status == 403 || status == 404) {
        // Refused or gone: trying again does not change that.
        TQL_LOG(2, "HTTP ERROR - %d message: %s", status, m_httpHeader.errorMessage.c_str());
        return DownloadStep::Final;
    }
    // A transfer that broke on the way, or that the engine refused, holds
    // no whole file, whatever its status said.
    if (m_networkError)
        return DownloadStep::Failed;
    if (!checkFile(m_httpHeader, m_bufferLength)) {
        setLibraryErrorResponse(tamberErrorUnreachable, 0);
        if (m_headerData.isEmpty())
            TQL_LOG(1, "TamberRequest::tamberDownloadFile \nResponse header empty");
        else
            TQL_LOG(1, "TamberRequest::tamberDownloadFile \nResponse header = %s", m_headerData.str().c_str());
        return DownloadStep::Failed;
    }
    if (m_httpHeader.location.isEmpty()) {
        if (!m_partialMode && data && length) {
            *data = m_buffer;
            *length = m_bufferLength;
        }
        return DownloadStep::Done;
    }
    // The header text keeps the blank after the colon. The new place holds
    // for the caller too.
    tql_string target = m_httpHeader.location.mid(1);
    url = tql_url(target);
    TQL_LOG(4, "REDIRECT - use new url as Base %s", target.c_str());
    return DownloadStep::Redirected;
}

void TamberRequest::prepareFileChunkforDecrypt(tamberChunk& chunk)
{
    TQL_LOG(4, "decryptFileChunk: SEQ Number = %d", chunk.seqNum);
    tamberChunkName parsed = parseChunkName(chunk.url[0]);
    if (parsed.keyIndex == 0) {
        TQL_LOG(4, "decryptFileChunk No encryption");
        chunk.state = tamberChunk::kStateAudio;
    } else if (parsed.keyIndex > 4) {
        TQL_LOG(2, "decryptFileChunk Unsupported encryption");
        chunk.state = tamberChunk::kStateUnsupported;
    } else if (static_cast<size_t>(parsed.keyIndex) > chunk.keys.size()) {
        // The name asks for a key the engine does not hold: the chunk cannot
        // be played, as with a key index the library does not know.
        TQL_LOG(1, "decryptFileChunk no key %d for this chunk", parsed.keyIndex);
        chunk.state = tamberChunk::kStateUnsupported;
    } else {
        const tql_bytearray& key = chunk.keys[parsed.keyIndex - 1u];
        // The nonce stays zero: the port tells chunks apart by sequence number.
        int keyLength = tql_cipher_get_algo_keylen();
        tql_bytearray nonce;
        nonce.fill(0, keyLength > 0 && keyLength <= 64 ? keyLength : 16);
        TQL_LOG(4, "%d: decryptFileChunk nonce = %s key = %s", parsed.keyIndex, nonce.toHex().str().c_str(),
                key.toHex().str().c_str());
        initPartialEncData(key, nonce, chunk.seqNum);
        chunk.state = tamberChunk::kStateAudio;
    }
    chunk.bitRate = parsed.bitRate;
    chunk.keyIndex = parsed.keyIndex;
    TQL_LOG(4, "seq number = %d", parsed.seqNum);
}

int TamberRequest::initPartialEncData(tql_bytearray key, tql_bytearray nonce, int sequenceNumber)
{
    tql_decryptParams params;
    memset(&params, 0, sizeof params);
    params.key = reinterpret_cast<const unsigned char*>(key.constData());
    params.keyLength = key.size();
    params.nonce = reinterpret_cast<const unsigned char*>(nonce.constData());
    params.nonceLength = nonce.size();
    params.sequenceNumber = sequenceNumber;
    return tql_decrypt_start(params) != 0 ? 1 : 0;
}

int TamberRequest::finishPartialEncData()
{
    tql_decrypt_done();
    return 1;
}

int TamberRequest::partialHeaderHandler(const char*, unsigned int length)
{
    return static_cast<int>(length);
}

// Every piece of a chunk is appended to the one buffer and decrypted there
// as far as whole blocks reach; the plain bytes go to the engine at once.
int TamberRequest::partialContentHandler(const unsigned char* data, unsigned int length)
{
    if (m_bufferSize <= m_bufferLength + length) {
        TQL_LOG(0, "Not enough memory to append new data");
        return 0;
    }
    if (m_bufferLength == 0) {
        tql_httpHeader header;
        parseHttpHeader(m_headerData, header);
        m_partialContentLength = header.contentLength > 0 ? static_cast<unsigned int>(header.contentLength) : 0;
    }
    appendToBuffer(data, length);
    int taken = handlePartialEncData(m_buffer, m_buffer + m_partialEncOffset, m_bufferLength - m_partialEncOffset);
    if (taken < 0) {
        TQL_LOG(1, "Error in stream partial handling");
        return 0;
    }
    m_partialEncOffset += static_cast<unsigned int>(taken);
    return static_cast<int>(length);
}

int TamberRequest::currentKeyIndex() const
{
    CMTamberNodeResponder* engine = m_core ? m_core->getCurrentStreamer() : nullptr;
    return engine ? engine->m_currentChunk.keyIndex : 0;
}

int TamberRequest::handlePartialEncData(unsigned char* buffer, unsigned char* data, unsigned int length)
{
    if (currentKeyIndex() == 0) {
        int written = handlePartialDecData(buffer, buffer + m_partialDecOffset, length);
        if (written < 0) {
            TQL_LOG(1, "Error in stream partial handling << from handlePartialDecData written = %d", written);
            return written;
        }
        m_partialDecOffset += static_cast<unsigned int>(written);
        return written;
    }
    tql_decryptParams params;
    memset(&params, 0, sizeof params);
    params.input = params.output = data;
    params.inputLength = params.outputLength = static_cast<int>(length);
    int decrypted = tql_decrypt_process(params);
    if (decrypted < 0)
        return decrypted;
    if (static_cast<unsigned int>(decrypted) > length)
        decrypted = static_cast<int>(length); // a port cannot produce more than it was given
    m_partialDecLength += static_cast<unsigned int>(decrypted);
    unsigned char* plain = buffer + m_partialDecOffset;
    if (m_partialContentLength == m_bufferLength) {
        unsigned int pad = static_cast<unsigned int>(cryptoPaddingDataLen(plain, m_partialDecLength));
        TQL_LOG(3, "Removing crypto padding from chunk data: len = %d", pad);
        m_partialDecLength -= pad;
    }
    int written = handlePartialDecData(buffer, plain, m_partialDecLength);
    if (written < 0) {
        TQL_LOG(1, "Error in stream partial handling << from handlePartialDecData written = %d", written);
        return written;
    }
    m_partialDecOffset += static_cast<unsigned int>(written);
    m_partialDecLength -= static_cast<unsigned int>(written);
    return decrypted;
}

int TamberRequest::handlePartialDecData(unsigned char* buffer, unsigned char* data, unsigned int length)
{
    CMTamberNodeResponder* engine = m_core ? m_core->getCurrentStreamer() : nullptr;
    if (!engine) {
        TQL_LOG(1, "Fatal Error: No Streamer to handle audio stream!");
        return -1;
    }
    return engine->handleAudioStream(buffer, data, length);
}

// Block padding of up to one block, its length in the last byte; the
// padding bytes themselves are not checked.
int TamberRequest::cryptoPaddingDataLen(unsigned char* data, unsigned int length)
{
    if (length == 0) {
        TQL_LOG(1, "WRONG DATA LEN = %d", 0);
        return 0;
    }
    unsigned int pad = data[length - 1];
    if (pad > kMaxPadding) {
        TQL_LOG(1, "WRONG PADDING LEN = %d", pad);
        return 0;
    }
    // Only bytes still in hand can be taken back.
    return static_cast<int>(pad <= length ? pad : length);
}

unsigned int TamberRequest::reverseBytes(const tql_bytearray& bytes)
{
    unsigned int value = 0;
    int first = bytes.size() > 4 ? bytes.size() - 4 : 0;
    for (int i = bytes.size() - 1; i >= first; --i)
        value = (value << 8) | static_cast<unsigned char>(bytes.constData()[i]);
    return value;
}

// A number of the name, kept within int.
static int namePart(const tql_string& text, int scale = 1)
{
    const long long limit = 2147483647LL;
    long long value = text.toInt64(nullptr, 10);
    value = value > limit ? limit : value < -limit - 1 ? -limit - 1 : value;
    value *= scale;
    return static_cast<int>(value > limit ? limit : value < -limit - 1 ? -limit - 1 : value);
}

tamberChunkName TamberRequest::parseChunkName(tql_url url)
{
    tamberChunkName result;
    if (url.isEmpty() || url.path().isEmpty())
        return result;
    tql_list<tql_string> parts = url.path().split('/', tql_string::SkipEmptyParts);
    if (parts.empty())
        return result;
    tql_string last = parts.back();
    int dot = last.indexOf('.');
    if (dot >= 0)
        last = last.left(dot);
    tql_list<tql_string> fields = last.split('_', tql_string::SkipEmptyParts);
    size_t n = fields.size();
    // Six parts at least: asset, rate, key, any, sequence, any.
    if (n < 6) {
        TQL_LOG(1, "Could not parse chunk name: %s\n", last.c_str());
        return result;
    }
    result.name = fields[n - 6];
    const tql_string& rate = fields[n - 5];
    if (rate.endsWith("K") || rate.endsWith("k"))
        result.bitRate = namePart(rate.left(rate.length() - 1), 1000);
    else
        result.bitRate = namePart(rate);
    result.keyIndex = static_cast<uint8_t>(static_cast<unsigned int>(namePart(fields[n - 4])));
    result.seqNum = namePart(fields[n - 2]);
    result.seqText = fields[n - 2];
    return result;
}
