#include "tamberRequest.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tamberCore.h"
#include "tamberJson/tamberJson.h"
#include "tamberTypes/tamberDebug.h"

TamberRequest::TamberRequest(tql_core* core)
    : m_core(core),
      m_buffer(static_cast<unsigned char*>(tql_malloc(kBufferSize))),
      m_bufferSize(kBufferSize),
      m_bufferLength(0),
      m_partialEncOffset(0),
      m_partialDecOffset(0),
      m_partialDecLength(0),
      m_partialContentLength(0),
      m_gupId(""),
      m_curlHandle(nullptr),
      m_partialMode(0),
      m_jsonParser(nullptr),
      m_errorResponse{0, 0},
      m_norvalerouting(nullptr),
      m_norvaleconfiguration(nullptr),
      m_norvaleauth(nullptr),
      m_norvalechannels(nullptr),
      m_norvaletune(nullptr),
      m_norvaletunestart(nullptr),
      m_norvalenoop(nullptr),
      m_norvalerecents(nullptr),
      m_norvalefavorites(nullptr),
      m_norvalecollation(nullptr),
      m_norvaleforyou(nullptr),
      m_norvaleconsume(nullptr),
      m_norvaleondemand(nullptr),
      m_faultResponse(new TQLResponse()),
      m_norvalesearch(nullptr),
      m_bypassStatus(),
      m_norvalepdt(nullptr),
      m_requestInProgress(0),
      m_norvaleepisodes(nullptr),
      m_norvalespare(nullptr),
      m_norvaleclearrecents(nullptr),
      m_norvalesetfavorites(nullptr),
      m_norvalesetsettings(nullptr),
      m_networkError(0),
      m_bufferDirty(kBufferSize) // port memory comes uncleared
{
    if (!m_buffer)
    {
        m_bufferSize = 0; // every transfer then stops at its first piece
        m_bufferDirty = 0;
    }
    clearMessageFlags();
    initErrorTable();
}

TamberRequest::~TamberRequest()
{
    if (m_curlHandle)
        tamber_HT_cleanup(m_curlHandle);
    tql_free(m_buffer);
    for (TQLResponse* r :
         {m_norvalerouting, m_norvaleconfiguration, m_norvaleauth, m_norvalechannels, m_norvaletune,
          m_norvaletunestart, m_norvalenoop, m_norvalerecents, m_norvalefavorites, m_norvalecollation,
          m_norvaleforyou, m_norvaleconsume, m_norvaleondemand, m_faultResponse, m_norvalesearch, m_norvalepdt,
          m_norvaleepisodes, m_norvalespare, m_norvaleclearrecents, m_norvalesetfavorites, m_norvalesetsettings})
        delete r;
}

int TamberRequest::tamberRequest(const tql_url& url, int method, const tql_string& data, int connectTimeout,
                                 int totalTimeout)
{
    if (m_requestInProgress) {
        TQL_LOG(1, "Request violation. Someone called request from another thread. This cannot happen in one "
                   "threaded library!");
        return 0;
    }
    m_requestInProgress = 1;
    // Buffered and streamed transfers start from a zeroed buffer; JSON calls need none.
    if (!m_jsonParser)
        clearBufferData();
    m_headerData.truncate(0); // the block is kept for the next transfer
    m_httpHeader.clear();

    if (url.path().isEmpty()) {
        TQL_LOG(1, "TamberRequest::tamberRequest path is empty for url %s", url.toString().c_str());
        m_requestInProgress = 0;
        return 0;
    }
    if (!m_curlHandle)
        m_curlHandle = tamber_HT_init();

    tql_string encoded = url.toEncoded().str();
    char errorBuffer[TAMBER_HT_ERROR_BUFFER_SIZE];
    memset(errorBuffer, 0, sizeof errorBuffer);
    tamberHTRequestCtx ctx;
    memset(&ctx, 0, sizeof ctx);
    ctx.url = encoded.c_str();
    ctx.postData = data.c_str();
    ctx.isPost = method == 1 ? 1 : 0;
    ctx.writeData = this;
    ctx.headerData = this;
    ctx.errorBuffer = errorBuffer;
    ctx.handle = m_curlHandle;
    ctx.writeCallback = curlWriteFunc;
    ctx.headerCallback = rcvHeaders;
    ctx.totalTimeout = totalTimeout;
    ctx.connectTimeout = connectTimeout;
    TQL_LOG(4, "TamberRequest::tamberRequest Retrieving from Url = %s", ctx.url);
    if (!data.isEmpty())
        TQL_LOG(4, "TamberRequest::tamberRequest Data %s, data length = %d", data.c_str(), data.length());

    int result = 0;
    int r = tamber_HT_Request(&ctx);
    if (r == 0) {
        result = ctx.requestResult == 0 ? 1 : 0;
    } else if (r > 0) {
        TQL_LOG(2, "curl_easy_perform() returned error : %d", r);
        result = 1;
        // A failed transfer still counts as made: the caller reads the failure
        // from m_networkError and an empty reply. A redirect is no failure.
        if (ctx.httpCode != 302) {
            if (ctx.errorFlag) {
                errorBuffer[sizeof errorBuffer - 1] = '\0';
                TQL_LOG(1, "TamberRequest::tamberRequest getting error %s", errorBuffer);
            }
            m_networkError = 1;
            TQL_LOG(3, "cUrl error occurred, reset handler");
            tamber_HT_reset(m_curlHandle);
        }
    }

    m_cookies.clear();
    for (tamberHTCookie* node = ctx.cookies; node; node = node->next) {
        if (node->text)
            m_cookies.push_back(tql_string(node->text));
        else
            TQL_LOG(2, "Found empty cookie: find a problem -> fix a bug");
    }
    tamber_HT_clearCtxData(&ctx);
    m_requestInProgress = 0;
    return result;
}

size_t TamberRequest::rcvHeaders(void* data, size_t size, size_t count, void* self)
{
    size_t n = size * count;
    static_cast<TamberRequest*>(self)->m_headerData.append(static_cast<const char*>(data), static_cast<int>(n));
    return n;
}

size_t TamberRequest::curlWriteFunc(void* data, size_t size, size_t count, void* self)
{
    return static_cast<TamberRequest*>(self)->writeBody(static_cast<const unsigned char*>(data), size * count);
}

size_t TamberRequest::writeBody(const unsigned char* data, size_t n)
{
    if (m_httpHeader.http10Status == 0 && m_httpHeader.http11Status == 0) {
        parseHttpHeader(m_headerData, m_httpHeader);
        TQL_LOG(3, "HTTP 1 1 = %d >> expecting content length: %d", m_httpHeader.http11Status,
                m_httpHeader.contentLength);
    }
    bool failedStatus = m_httpHeader.http10Status > 200 || m_httpHeader.http11Status > 200;
    if (m_partialMode) {
        // Error replies of the service are JSON too: the status plays no part here.
        if (m_jsonParser)
            return m_jsonParser->parseSax(data, static_cast<unsigned int>(n), m_jsonError);
        if (failedStatus) {
            TQL_LOG(1, "Invalid data received - skip processing");
            return n;
        }
        return static_cast<size_t>(partialContentHandler(data, static_cast<unsigned int>(n)));
    }
    if (failedStatus) {
        TQL_LOG(1, "Invalid data received - skip processing");
        return n;
    }
    if (m_bufferSize <= m_bufferLength + n) {
        TQL_LOG(0, "Not enough memory to append new data");
        return 0;
    }
    appendToBuffer(data, static_cast<unsigned int>(n));
    return n;
}

// A header number, read as strtol would, kept within int.
static int headerNumber(const tql_string& text)
{
    long v = strtol(text.c_str(), nullptr, 10);
    if (v > INT_MAX)
        return INT_MAX;
    if (v < INT_MIN)
        return INT_MIN;
    return static_cast<int>(v);
}

static tql_string after(const tql_string& line, char separator)
{
    int at = line.indexOf(separator, 0);
    return at < 0 ? tql_string("") : line.mid(at + 1);
}

int TamberRequest::parseHttpHeader(const tql_bytearray& raw, tql_httpHeader& header)
{
    if (raw.isEmpty()) {
        TQL_LOG(1, "No HTTP header data to be parsed");
        return 0;
    }
    // The raw block carries no terminator; the line reader needs one.
    std::string text(raw.constData(), static_cast<size_t>(raw.size()));
    const char* cursor = text.c_str();
    char lineBuffer[2048];
    for (;;) {
        tql_bytearray::getTrimmedLine(cursor, lineBuffer, sizeof lineBuffer);
        if (lineBuffer[0] == '\0')
            break;
        tql_string line(lineBuffer);
        if (line.startsWith("__version")) {
            header.version = after(line, ':');
        } else if (line.startsWith("errormessage")) {
            header.errorMessage = after(line, ':');
        } else if (line.startsWith("HTTP/1.1")) {
            header.http11Status = headerNumber(after(line, ' '));
        } else if (line.startsWith("HTTP/1.0")) {
            header.http10Status = headerNumber(after(line, ' '));
        } else if (line.startsWith("Location") || line.startsWith("location")) {
            header.location = after(line, ':');
        } else if (line.startsWith("__errorcode")) {
            header.errorCode = headerNumber(after(line, ' '));
        } else if (line.startsWith("Content-Length")) {
            header.contentLength = headerNumber(after(line, ':'));
        } else if (line.startsWith("Last-Modified")) {
            header.lastModified = after(line, ':');
        } else if (line.startsWith("Set-Cookie")) {
            header.cookie += after(line, ':');
        } else if (line.startsWith("GupId")) {
            m_gupId = after(line, ' ');
        } else if (line.startsWith("X-TamberQL-Notification")) {
            tql_string value = after(line, ':');
            // The bracket form only shows when no blank follows the colon.
            if (value.startsWith("["))
                header.notifications = parseNotifications(value);
            else
                header.notifications.push_back(value);
        }
    }
    checkNotifications(header.notifications);
    return 1;
}

tql_list<tql_string> TamberRequest::parseNotifications(const tql_string& text)
{
    tql_list<tql_string> out;
    for (const tql_string& piece : text.split(tql_string("~"), tql_string::KeepEmptyParts)) {
        int open = piece.indexOf('[', 0);
        int close = piece.indexOf(']', open + 1);
        out.push_back(piece.mid(open + 1, close < 0 ? -1 : close - open - 1));
    }
    return out;
}

void TamberRequest::checkNotifications(const tql_list<tql_string>& list)
{
    if (list.empty())
        return;
    TQL_LOG(4, "---------Notifications-----------");
    for (const tql_string& entry : list)
        TQL_LOG(4, "> %s", entry.c_str());
    TQL_LOG(4, "---------------------------------");
    for (const tql_string& entry : list) {
        // Any reply can make the device read its line-up again.
        if (entry.contains(tql_string("Action=ReloadChannelLineup")) && m_core &&
            m_core->getState() != CoreStateAuthenticated) {
            m_core->forceLineupReload();
            TQL_LOG(3, "Trigger list forced update!");
        }
    }
}

int TamberRequest::checkFile(tql_httpHeader& header, unsigned int bodyLength)
{
    if (header.http10Status == 302 || header.http11Status == 302 || header.errorCode == 302)
        return 1;
    if (header.http10Status != 200 && header.http11Status != 200 && header.errorCode != 200) {
        int status = header.http10Status ? header.http10Status
                                         : (header.http11Status ? header.http11Status : header.errorCode);
        TQL_LOG(1, "Wrong response: http status: %u", static_cast<unsigned int>(status));
        return 0;
    }
    if (m_partialMode)
        return 1; // a streamed body is not in the buffer
    if (header.contentLength > 0 && static_cast<unsigned int>(header.contentLength) != bodyLength) {
        TQL_LOG(1, "Http header length doesnt match body length http header length = %d, body length =%d.",
                header.contentLength, static_cast<int>(bodyLength));
        return 0;
    }
    if (bodyLength == 0) {
        TQL_LOG(1, "Zero body length");
        return 0;
    }
    return 1;
}

tql_string TamberRequest::replaceBaseUrl(const tql_list<TQLRelativeUrlsItem>& list, const tql_string& url)
{
    int slash = url.indexOf('/', 0);
    tql_string head = slash < 0 ? url : url.left(slash);
    // The placeholder is framed by one delimiter on each side.
    tql_string placeholder = head.length() >= 2 ? head.mid(1, head.length() - 2) : tql_string("");
    tql_string rest = slash < 0 ? tql_string("") : url.mid(slash);
    TQL_LOG(4, "Placeholder = %s url = %s", placeholder.c_str(), url.c_str());
    for (const TQLRelativeUrlsItem& item : list) {
        if (item.name == placeholder) {
            tql_string replaced = item.url + rest;
            TQL_LOG(4, "Replaced url = %s", replaced.c_str());
            return replaced;
        }
    }
    return url;
}

void TamberRequest::resetResponses(std::initializer_list<TQLResponse*> responses)
{
    for (TQLResponse* r : responses)
        if (r)
            r->reset();
}

void TamberRequest::appendToBuffer(const void* data, unsigned int length)
{
    memcpy(m_buffer + m_bufferLength, data, length);
    m_bufferLength += length;
    if (m_bufferLength > m_bufferDirty)
        m_bufferDirty = m_bufferLength;
}

void TamberRequest::clearBufferData()
{
    // Index files are read as NUL-terminated text: the whole buffer reads as
    // zeroed afterwards. Only bytes written since the last clearing can be
    // other than zero (the decryptor and the parser work inside what was
    // received), so only those are cleared.
    if (m_buffer)
        memset(m_buffer, 0, m_bufferDirty);
    m_bufferDirty = 0;
    m_bufferLength = 0;
    m_partialEncOffset = 0;
    m_partialDecOffset = 0;
    m_partialDecLength = 0;
    m_partialContentLength = 0;
}

void TamberRequest::clear()
{
    resetResponses({m_norvalerouting, m_norvaleconfiguration, m_norvaleauth, m_norvalechannels, m_norvaletune,
                    m_norvalenoop, m_norvalecollation, m_norvaleconsume, m_norvaleondemand, m_faultResponse,
                    m_norvalespare, m_norvalepdt, m_norvalesetfavorites, m_norvaleepisodes});
    resetTransferState();
}

void TamberRequest::clearToken()
{
    resetResponses({m_norvaletune, m_norvalepdt, m_norvaleconsume, m_norvalespare});
    resetTransferState();
    clearMessageFlags();
}

void TamberRequest::resetTransferState()
{
    m_headerData.truncate(0);
    m_httpHeader.clear();
    m_bufferLength = 0;
    m_partialEncOffset = 0;
    m_partialDecOffset = 0;
    m_partialDecLength = 0;
}

int TamberRequest::resetCurl()
{
    TQL_LOG(3, "CURL RESET CALLED");
    if (m_curlHandle) {
        tamber_HT_cleanup(m_curlHandle);
        m_curlHandle = nullptr;
    }
    tql_sleep(2);
    m_curlHandle = tamber_HT_init();
    if (!m_curlHandle) {
        TQL_LOG(1, "CURL HANDLE IS GONE - expect unexpectable");
        return 0;
    }
    return 1;
}

void TamberRequest::setLibraryErrorResponse(int code, int serverCode)
{
    m_errorResponse.errorCode = code;
    m_errorResponse.responseCode = serverCode;
    TQL_LOG(4, "setLibraryErrorResponse: %d", code);
    TQL_LOG(3, "TQL Response code: %d", serverCode);
}

void TamberRequest::restoreErrorResponse(const tql_errorNotification& saved)
{
    m_errorResponse.errorCode = saved.errorCode;
    m_errorResponse.responseCode = saved.responseCode;
}

void TamberRequest::getErrorResponse(tql_errorNotification* out) const
{
    if (!out)
        return;
    out->errorCode = m_errorResponse.errorCode;
    out->responseCode = m_errorResponse.responseCode;
}
