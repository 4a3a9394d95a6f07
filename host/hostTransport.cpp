// The HTTP transport on one libcurl easy handle per library handle, so that
// connections are reused and the session cookie travels between requests.
#include <curl/curl.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "tqlhost.h"
#include "tqllib.h"

namespace {
std::atomic<size_t> g_maxReplyBytes{TQLHOST_DEFAULT_MAX_REPLY_BYTES};
// Far above what a service sends in headers, far below what would hurt.
const size_t kMaxHeaderBytes = 256 * 1024;

// The library's callbacks behind a count, so that no reply, however long or
// however it is framed, makes the transfer go on past the limits.
struct Transfer {
    tamberHTRequestCtx* ctx;
    size_t maxBody;
    size_t body = 0;
    size_t headers = 0;
};

size_t countedBody(char* data, size_t size, size_t count, void* self)
{
    auto* transfer = static_cast<Transfer*>(self);
    size_t n = size * count;
    if (n > transfer->maxBody - transfer->body)
        return 0; // anything but n ends the transfer with a write error
    transfer->body += n;
    if (!transfer->ctx->writeCallback)
        return n;
    return transfer->ctx->writeCallback(data, size, count, transfer->ctx->writeData);
}

size_t countedHeader(char* data, size_t size, size_t count, void* self)
{
    auto* transfer = static_cast<Transfer*>(self);
    size_t n = size * count;
    if (n > kMaxHeaderBytes - transfer->headers)
        return 0;
    transfer->headers += n;
    if (!transfer->ctx->headerCallback)
        return n;
    return transfer->ctx->headerCallback(data, size, count, transfer->ctx->headerData);
}

void allowWebOnly(CURL* curl)
{
    // A location of any other scheme (file, ftp, smb...) must never be
    // opened on the device's behalf; the library follows redirects by making
    // the next request itself, so requests are limited as well as redirects.
#if LIBCURL_VERSION_NUM >= 0x075500
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
#else
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS, static_cast<long>(CURLPROTO_HTTP | CURLPROTO_HTTPS));
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS, static_cast<long>(CURLPROTO_HTTP | CURLPROTO_HTTPS));
#endif
}

// The cookie engine, in memory, once per handle: a reset keeps it and its
// cookies. It is armed by handing it a cookie that has already expired, not
// with an empty cookie file, because libcurl keeps the list of cookie files
// among the options and curl_easy_reset drops that list without freeing it.
void armCookieEngine(CURL* curl)
{
    curl_easy_setopt(curl, CURLOPT_COOKIELIST, "Set-Cookie: tqlhost=; expires=Thu, 01 Jan 1970 00:00:01 GMT");
}

// Options that every request needs; applied again after a reset, which
// drops options but keeps the cookie engine and its cookies.
void applyDefaults(CURL* curl)
{
    allowWebOnly(curl);
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L); // the library follows redirects itself
    curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1)); // status lines it reads
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
}

tamberHTCookie* cookieList(CURL* curl)
{
    struct curl_slist* cookies = nullptr;
    if (curl_easy_getinfo(curl, CURLINFO_COOKIELIST, &cookies) != CURLE_OK)
        return nullptr;
    tamberHTCookie* head = nullptr;
    tamberHTCookie** tail = &head;
    for (struct curl_slist* c = cookies; c; c = c->next) {
        auto* node = static_cast<tamberHTCookie*>(calloc(1, sizeof(tamberHTCookie)));
        if (!node)
            break;
        node->text = c->data ? strdup(c->data) : nullptr;
        *tail = node;
        tail = &node->next;
    }
    curl_slist_free_all(cookies);
    return head;
}
} // namespace

extern "C" {

void tqlhost_set_max_reply_bytes(size_t bytes)
{
    g_maxReplyBytes = bytes ? bytes : TQLHOST_DEFAULT_MAX_REPLY_BYTES;
}

void* tamber_HT_init(void)
{
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    CURL* curl = curl_easy_init();
    if (curl) {
        armCookieEngine(curl);
        applyDefaults(curl);
    }
    return curl;
}

int tamber_HT_Request(tamberHTRequestCtx* ctx)
{
    CURL* curl = static_cast<CURL*>(ctx->handle);
    if (!curl)
        return -1;
    struct curl_slist* headers = nullptr;
    curl_easy_setopt(curl, CURLOPT_URL, ctx->url);
    if (ctx->isPost) {
        headers = curl_slist_append(headers, "Content-Type: application/json");
        curl_easy_setopt(curl, CURLOPT_POST, 1L);
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, ctx->postData ? ctx->postData : "");
    } else {
        curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
    }
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    Transfer transfer{ctx, g_maxReplyBytes.load()};
    curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(transfer.maxBody));
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, countedBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &transfer);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, countedHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &transfer);
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, ctx->errorBuffer);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, static_cast<long>(ctx->totalTimeout));
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, static_cast<long>(ctx->connectTimeout));

    CURLcode rc = curl_easy_perform(curl);

    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    ctx->httpCode = status;
    ctx->requestResult = static_cast<int>(rc);
    ctx->errorFlag = ctx->errorBuffer && ctx->errorBuffer[0] ? 1 : 0;
    ctx->cookies = cookieList(curl);
    // The buffers and the header list belong to this call only.
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, nullptr);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, nullptr);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, nullptr);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, nullptr);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, nullptr);
    curl_slist_free_all(headers);
    return static_cast<int>(rc);
}

void tamber_HT_reset(void* handle)
{
    // Keeps connections and cookies, drops the options.
    if (handle) {
        curl_easy_reset(static_cast<CURL*>(handle));
        applyDefaults(static_cast<CURL*>(handle));
    }
}

void tamber_HT_clearCtxData(tamberHTRequestCtx* ctx)
{
    tamberHTCookie* node = ctx->cookies;
    while (node) {
        tamberHTCookie* next = node->next;
        free(const_cast<char*>(node->text));
        free(node);
        node = next;
    }
    ctx->cookies = nullptr;
}

void tamber_HT_cleanup(void* handle)
{
    if (handle)
        curl_easy_cleanup(static_cast<CURL*>(handle));
}

} // extern "C"
