// The reference HTTP transport against a loopback server of the test's own:
// only http and https are opened, a reply is cut at the size limit however it
// is framed, and a reset keeps the session cookie without costing memory.
#include <arpa/inet.h>
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tqlhost.h"
#include "tqllib.h"

namespace {

// libcurl's own allocations, counted: installed before any other curl call of
// the process, which is the only time libcurl takes memory callbacks.
std::atomic<long> g_curlLiveBytes{0};

void* countedMalloc(size_t size)
{
    auto* block = static_cast<size_t*>(malloc(size + 16));
    if (!block)
        return nullptr;
    *block = size;
    g_curlLiveBytes += static_cast<long>(size);
    return reinterpret_cast<char*>(block) + 16;
}

void countedFree(void* p)
{
    if (!p)
        return;
    auto* block = reinterpret_cast<size_t*>(static_cast<char*>(p) - 16);
    g_curlLiveBytes -= static_cast<long>(*block);
    free(block);
}

void* countedRealloc(void* p, size_t size)
{
    if (!p)
        return countedMalloc(size);
    auto* block = reinterpret_cast<size_t*>(static_cast<char*>(p) - 16);
    size_t old = *block;
    auto* grown = static_cast<size_t*>(realloc(block, size + 16));
    if (!grown)
        return nullptr;
    *grown = size;
    g_curlLiveBytes += static_cast<long>(size) - static_cast<long>(old);
    return reinterpret_cast<char*>(grown) + 16;
}

char* countedStrdup(const char* text)
{
    size_t n = strlen(text) + 1;
    auto* copy = static_cast<char*>(countedMalloc(n));
    if (copy)
        memcpy(copy, text, n);
    return copy;
}

void* countedCalloc(size_t count, size_t size)
{
    void* p = countedMalloc(count * size);
    if (p)
        memset(p, 0, count * size);
    return p;
}

const bool g_curlCounted = curl_global_init_mem(CURL_GLOBAL_DEFAULT, countedMalloc, countedFree, countedRealloc,
                                                countedStrdup, countedCalloc) == CURLE_OK;

// One connection at a time: reads a request up to its blank line, answers
// with what the test's function gives, closes.
class LoopbackServer {
public:
    explicit LoopbackServer(std::function<std::string(const std::string&)> answer) : m_answer(std::move(answer))
    {
        m_socket = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (bind(m_socket, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(m_socket, 4) != 0 ||
            getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            return;
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { serve(); });
    }
    ~LoopbackServer()
    {
        m_stop = true;
        shutdown(m_socket, SHUT_RDWR);
        close(m_socket);
        if (m_thread.joinable())
            m_thread.join();
    }
    std::string url(const std::string& path = "/") const { return "http://127.0.0.1:" + std::to_string(m_port) + path; }
    std::vector<std::string> requests()
    {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_requests;
    }

private:
    void serve()
    {
        while (!m_stop) {
            int client = accept(m_socket, nullptr, nullptr);
            if (client < 0)
                return;
            std::string request;
            char buffer[4096];
            while (request.find("\r\n\r\n") == std::string::npos) {
                ssize_t n = recv(client, buffer, sizeof buffer, 0);
                if (n <= 0)
                    break;
                request.append(buffer, static_cast<size_t>(n));
            }
            {
                std::lock_guard<std::mutex> guard(m_lock);
                m_requests.push_back(request);
            }
            std::string reply = m_answer(request);
            for (size_t at = 0; at < reply.size();) {
                ssize_t n = send(client, reply.data() + at, reply.size() - at, MSG_NOSIGNAL);
                if (n <= 0)
                    break; // the client hung up, as a transport at its limit does
                at += static_cast<size_t>(n);
            }
            close(client);
        }
    }

    std::function<std::string(const std::string&)> m_answer;
    int m_socket = -1;
    int m_port = 0;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
    std::mutex m_lock;
    std::vector<std::string> m_requests;
};

struct Received {
    std::string body;
    std::string headers;
};

size_t takeBody(void* data, size_t size, size_t count, void* context)
{
    static_cast<Received*>(context)->body.append(static_cast<char*>(data), size * count);
    return size * count;
}

size_t takeHeader(void* data, size_t size, size_t count, void* context)
{
    static_cast<Received*>(context)->headers.append(static_cast<char*>(data), size * count);
    return size * count;
}

// One GET as the library makes it; the result of tamber_HT_Request.
int get(void* handle, const std::string& url, Received& received)
{
    char errorBuffer[TAMBER_HT_ERROR_BUFFER_SIZE] = {0};
    tamberHTRequestCtx ctx{};
    ctx.url = url.c_str();
    ctx.postData = "";
    ctx.writeData = &received;
    ctx.headerData = &received;
    ctx.errorBuffer = errorBuffer;
    ctx.handle = handle;
    ctx.writeCallback = takeBody;
    ctx.headerCallback = takeHeader;
    ctx.totalTimeout = 10;
    ctx.connectTimeout = 5;
    int result = tamber_HT_Request(&ctx);
    tamber_HT_clearCtxData(&ctx);
    return result;
}

std::string okReply(const std::string& body, bool withLength, const std::string& extraHeader = "")
{
    return "HTTP/1.1 200 OK\r\n" + extraHeader +
           (withLength ? "Content-Length: " + std::to_string(body.size()) + "\r\n" : std::string()) +
           "Connection: close\r\n\r\n" + body;
}

class HostTransport : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(g_curlCounted);
        handle = tamber_HT_init();
        ASSERT_NE(nullptr, handle);
    }
    void TearDown() override
    {
        tamber_HT_cleanup(handle);
        tqlhost_set_max_reply_bytes(0);
    }
    void* handle = nullptr;
};

TEST_F(HostTransport, OpensHttpAndHttpsOnly)
{
    // What a redirect's location may name: none of these is fetched, and
    // nothing of them reaches the library.
    for (const char* url : {"file:///etc/hostname", "ftp://127.0.0.1:9/x", "dict://127.0.0.1:9/x",
                            "gopher://127.0.0.1:9/x", "tftp://127.0.0.1:9/x", "telnet://127.0.0.1:9"}) {
        Received received;
        EXPECT_EQ(CURLE_UNSUPPORTED_PROTOCOL, get(handle, url, received)) << url;
        EXPECT_EQ("", received.body) << url;
    }
    LoopbackServer server([](const std::string&) { return okReply("{}", true); });
    Received received;
    EXPECT_EQ(CURLE_OK, get(handle, server.url(), received));
    EXPECT_EQ("{}", received.body);
    // https is allowed: nothing listens there, which is a connection failure
    // and not a refused scheme.
    EXPECT_NE(CURLE_UNSUPPORTED_PROTOCOL, get(handle, "https://127.0.0.1:9/x", received));
}

TEST_F(HostTransport, AReplyPastTheLimitEndsItsTransferHoweverItIsFramed)
{
    const size_t limit = 256 * 1024;
    tqlhost_set_max_reply_bytes(limit);
    const std::string large(4 * limit, '0');
    for (bool withLength : {false, true}) {
        LoopbackServer server([&](const std::string&) { return okReply(large, withLength); });
        Received received;
        int result = get(handle, server.url(), received);
        EXPECT_TRUE(result == CURLE_WRITE_ERROR || result == CURLE_FILESIZE_EXCEEDED)
            << "framed with a length: " << withLength << ", result " << result;
        EXPECT_LE(received.body.size(), limit);
    }
    // Up to the limit a reply comes whole.
    const std::string fits(limit, '1');
    LoopbackServer server([&](const std::string&) { return okReply(fits, false); });
    Received received;
    EXPECT_EQ(CURLE_OK, get(handle, server.url(), received));
    EXPECT_EQ(fits.size(), received.body.size());
}

TEST_F(HostTransport, EndlessHeadersEndTheTransfer)
{
    std::string header = "X-Pad: " + std::string(1000, 'p') + "\r\n";
    std::string headers;
    for (int i = 0; i < 2000; ++i)
        headers += header;
    LoopbackServer server([&](const std::string&) { return okReply("{}", true, headers); });
    Received received;
    EXPECT_NE(CURLE_OK, get(handle, server.url(), received));
    EXPECT_LE(received.headers.size(), 256u * 1024u);
}

TEST_F(HostTransport, ResetKeepsTheSessionCookieAndCostsNoMemory)
{
    LoopbackServer server([](const std::string&) { return okReply("{}", true, "Set-Cookie: session=abc; Path=/\r\n"); });
    Received first;
    ASSERT_EQ(CURLE_OK, get(handle, server.url(), first));
    tamber_HT_reset(handle);

    long before = g_curlLiveBytes.load();
    for (int i = 0; i < 50; ++i)
        tamber_HT_reset(handle);
    EXPECT_EQ(before, g_curlLiveBytes.load()) << "a reset left memory behind";

    Received second;
    ASSERT_EQ(CURLE_OK, get(handle, server.url(), second));
    std::vector<std::string> requests = server.requests();
    ASSERT_EQ(2u, requests.size());
    EXPECT_NE(std::string::npos, requests[1].find("Cookie: session=abc")) << requests[1];
}

TEST_F(HostTransport, AHandleGivesBackAllItTookResetsIncluded)
{
    LoopbackServer server([](const std::string&) { return okReply("{}", true, "Set-Cookie: session=abc\r\n"); });
    long before = g_curlLiveBytes.load();
    void* other = tamber_HT_init();
    ASSERT_NE(nullptr, other);
    Received received;
    ASSERT_EQ(CURLE_OK, get(other, server.url(), received));
    tamber_HT_reset(other);
    tamber_HT_reset(other);
    tamber_HT_cleanup(other);
    EXPECT_EQ(before, g_curlLiveBytes.load());
}

} // namespace
