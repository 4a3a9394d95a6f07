#include "ScriptedPort.h"

#include <pthread.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace testport {

ScriptedPort& ScriptedPort::get()
{
    // Never destroyed: the library's static objects use the port until exit.
    static ScriptedPort* port = new ScriptedPort();
    return *port;
}

void ScriptedPort::reset()
{
    std::lock_guard<std::recursive_mutex> guard(m_lock);
    mallocCalls = reallocCalls = freeCalls = 0;
    failMallocAfter = -1;
    peakBytes = m_liveBytes;
    nowMs = 1700000000000ULL;
    sleeps.clear();
    loggerHandle = 1;
    initialLogLevel = 4;
    echoLog = getenv("TQL_TEST_ECHO_LOG") != nullptr;
    logs.clear();
    hasAccount = false;
    account = {};
    accountSlotSet = {};
    getAccountCalls = freeAccountCalls = setAccountCalls = 0;
    setAccountResult = 1;
    configUrl = "https://service.test/rest/v1/routing";
    deviceMake = "TestMake";
    deviceModel = "TestModel";
    mac = "00:11:22:33:44:55";
    fixedKey = "0123456789abcdef";
    getterResultOverride.clear();
    crInitResult = 1;
    keyLength = 16;
    blockSize = 16;
    processResultOverride = 0;
    decryptCalls.clear();
    recordDecryptProcess = true;
    routes.clear();
    requests.clear();
    handlesMade = handlesCleaned = resets = clearCtxCalls = 0;
    initHandleFails = false;
}

size_t ScriptedPort::liveBytes() const
{
    std::lock_guard<std::recursive_mutex> guard(m_lock);
    return m_liveBytes;
}

long ScriptedPort::liveAllocations() const
{
    std::lock_guard<std::recursive_mutex> guard(m_lock);
    return static_cast<long>(m_blocks.size());
}

void* ScriptedPort::allocate(size_t size)
{
    std::lock_guard<std::recursive_mutex> guard(m_lock);
    ++mallocCalls;
    if (failMallocAfter == 0)
        return nullptr;
    if (failMallocAfter > 0)
        --failMallocAfter;
    void* block = malloc(size ? size : 1);
    // Not cleared, as the contract says; make that visible to tests.
    memset(block, 0xA5, size);
    m_blocks[block] = size;
    m_liveBytes += size;
    if (m_liveBytes > peakBytes)
        peakBytes = m_liveBytes;
    return block;
}

void* ScriptedPort::reallocate(void* block, size_t size)
{
    std::lock_guard<std::recursive_mutex> guard(m_lock);
    ++reallocCalls;
    if (!block)
        return allocate(size);
    auto it = m_blocks.find(block);
    if (it == m_blocks.end()) {
        fprintf(stderr, "tql_realloc of a block the port never gave: %p\n", block);
        abort();
    }
    m_liveBytes -= it->second;
    m_blocks.erase(it);
    void* moved = realloc(block, size ? size : 1);
    m_blocks[moved] = size;
    m_liveBytes += size;
    if (m_liveBytes > peakBytes)
        peakBytes = m_liveBytes;
    return moved;
}

void ScriptedPort::release(void* block)
{
    std::lock_guard<std::recursive_mutex> guard(m_lock);
    ++freeCalls;
    if (!block)
        return;
    auto it = m_blocks.find(block);
    if (it == m_blocks.end()) {
        fprintf(stderr, "tql_free of a block the port never gave: %p\n", block);
        abort();
    }
    m_liveBytes -= it->second;
    m_blocks.erase(it);
    free(block);
}

bool ScriptedPort::logged(const std::string& fragment, int severity) const
{
    std::lock_guard<std::recursive_mutex> guard(m_lock);
    for (const LogLine& line : logs)
        if (line.text.find(fragment) != std::string::npos && (severity < 0 || line.severity == severity))
            return true;
    return false;
}

size_t ScriptedPort::countLogged(const std::string& fragment) const
{
    std::lock_guard<std::recursive_mutex> guard(m_lock);
    size_t n = 0;
    for (const LogLine& line : logs)
        if (line.text.find(fragment) != std::string::npos)
            ++n;
    return n;
}

void ScriptedPort::storeAccount(const std::string& user, const std::string& password)
{
    hasAccount = true;
    account = {};
    accountSlotSet = {};
    account[0] = user;
    account[1] = password;
    accountSlotSet[0] = accountSlotSet[1] = true;
}

void ScriptedPort::scriptedCipher(unsigned char* data, int length, const std::vector<unsigned char>& key,
                                  int sequenceNumber, long offset)
{
    for (int i = 0; i < length; ++i) {
        long at = offset + i;
        unsigned char k = key.empty() ? 0 : key[static_cast<size_t>(at) % key.size()];
        data[i] ^= static_cast<unsigned char>(k ^ (sequenceNumber & 0xff) ^ (at & 0xff));
    }
}

int ScriptedPort::decryptStart(const tql_decryptParams& params)
{
    DecryptCall call{DecryptCall::Start, {}, {}, params.sequenceNumber, 0, 0};
    if (params.key && params.keyLength > 0)
        call.key.assign(params.key, params.key + params.keyLength);
    if (params.nonce && params.nonceLength > 0)
        call.nonce.assign(params.nonce, params.nonce + params.nonceLength);
    m_decryptKey = call.key;
    m_decryptSequence = params.sequenceNumber;
    m_decryptOffset = 0;
    decryptCalls.push_back(call);
    return 1;
}

int ScriptedPort::decryptProcess(const tql_decryptParams& params)
{
    DecryptCall call{DecryptCall::Process, {}, {}, m_decryptSequence, params.inputLength, 0};
    if (processResultOverride != 0) {
        call.produced = processResultOverride;
        decryptCalls.push_back(call);
        return processResultOverride;
    }
    // Whole blocks only, as a block cipher in CBC mode would.
    int produced = params.inputLength - (blockSize > 1 ? params.inputLength % blockSize : 0);
    if (params.input != params.output)
        memmove(params.output, params.input, static_cast<size_t>(produced));
    scriptedCipher(params.output, produced, m_decryptKey, m_decryptSequence, m_decryptOffset);
    m_decryptOffset += produced;
    call.produced = produced;
    if (recordDecryptProcess)
        decryptCalls.push_back(call);
    return produced;
}

void ScriptedPort::decryptDone()
{
    decryptCalls.push_back(DecryptCall{DecryptCall::Done, {}, {}, m_decryptSequence, 0, 0});
}

Route* ScriptedPort::findRoute(const std::string& url)
{
    for (auto it = routes.begin(); it != routes.end(); ++it) {
        bool match = it->prefix ? url.compare(0, it->url.size(), it->url) == 0 : url == it->url;
        if (match)
            return &*it;
    }
    return nullptr;
}

// Hands one piece to a callback; a callback that takes a different number of
// bytes aborts the transfer, as curl does.
size_t ScriptedPort::deliver(tamberHTCallback callback, void* context, const char* data, size_t length)
{
    // The callback owns nothing of ours, and reads past the piece show under
    // the sanitizer. malloc keeps the copy out of the tests' operator new count.
    char* copy = static_cast<char*>(malloc(length ? length : 1));
    if (length)
        memcpy(copy, data, length);
    size_t taken = callback(copy, 1, length, context);
    free(copy);
    return taken;
}

int ScriptedPort::performRequest(tamberHTRequestCtx* ctx)
{
    RecordedRequest record;
    record.url = ctx->url ? ctx->url : "";
    record.postData = ctx->postData ? ctx->postData : "";
    record.isPost = ctx->isPost;
    record.connectTimeout = ctx->connectTimeout;
    record.totalTimeout = ctx->totalTimeout;
    record.handle = ctx->handle;
    size_t index = requests.size();
    requests.push_back(record);

    Route answer;
    Route* route = findRoute(record.url);
    if (route) {
        answer = *route;
        if (route->uses > 0 && --route->uses == 0)
            routes.erase(routes.begin() + (route - routes.data()));
    } else {
        answer.status = 404;
        answer.body = "";
    }

    auto finish = [&](int result, bool aborted) {
        requests[index].result = result;
        requests[index].httpCode = ctx->httpCode;
        requests[index].aborted = aborted;
        return result;
    };
    auto fail = [&](int code, const std::string& text, bool aborted) {
        ctx->requestResult = code;
        if (ctx->errorBuffer && !text.empty()) {
            snprintf(ctx->errorBuffer, TAMBER_HT_ERROR_BUFFER_SIZE, "%s", text.c_str());
            ctx->errorFlag = 1;
        }
        return finish(code, aborted);
    };

    bool connects = answer.transportError == 0 || answer.failAfterBytes > 0 || !answer.headers.empty() ||
                    !answer.statusLine.empty();
    if (connects) {
        ctx->httpCode = answer.status;
        std::vector<std::string> lines;
        lines.push_back(answer.statusLine.empty() ? "HTTP/1.1 " + std::to_string(answer.status) + " OK"
                                                  : answer.statusLine);
        for (const std::string& h : answer.headers)
            lines.push_back(h);
        lines.push_back("");
        for (const std::string& h : lines) {
            std::string line = h + "\r\n";
            if (ctx->headerCallback &&
                deliver(ctx->headerCallback, ctx->headerData, line.data(), line.size()) != line.size())
                return fail(23, "Failed writing header", true);
        }
    }

    size_t limit = answer.transportError ? std::min(answer.failAfterBytes, answer.body.size()) : answer.body.size();
    size_t piece = answer.pieceSize ? answer.pieceSize : (limit ? limit : 1);
    bool first = true;
    for (size_t at = 0; at < limit; at += piece) {
        size_t n = std::min(piece, limit - at);
        if (ctx->writeCallback && deliver(ctx->writeCallback, ctx->writeData, answer.body.data() + at, n) != n)
            return fail(23, "Failure writing output to destination", true);
        if (first && answer.duringBody)
            answer.duringBody();
        first = false;
    }

    if (answer.transportError)
        return fail(answer.transportError, answer.errorText, false);

    // Cookies as the engine reports them after a transfer.
    tamberHTCookie* head = nullptr;
    for (auto it = answer.cookies.rbegin(); it != answer.cookies.rend(); ++it) {
        auto* node = static_cast<tamberHTCookie*>(malloc(sizeof(tamberHTCookie)));
        node->text = *it ? strdup(*it) : nullptr;
        node->next = head;
        head = node;
    }
    ctx->cookies = head;
    ctx->requestResult = 0;
    return finish(0, false);
}

} // namespace testport

using testport::ScriptedPort;

extern "C" {

void* tql_malloc(size_t size)
{
    return ScriptedPort::get().allocate(size);
}

void* tql_realloc(void* block, size_t size)
{
    return ScriptedPort::get().reallocate(block, size);
}

void tql_free(void* block)
{
    ScriptedPort::get().release(block);
}

void tql_sleep(int seconds)
{
    ScriptedPort& port = ScriptedPort::get();
    port.sleeps.push_back(seconds);
    port.advance(static_cast<uint64_t>(seconds) * 1000);
}

// The mutex functions keep no state of the port: the library makes its log
// mutex while it loads.
static_assert(sizeof(pthread_mutex_t) <= sizeof(tql_mtx_t), "a pthread mutex must fit the port storage");

void tql_mtx_init(tql_mtx_t* mutex, int)
{
    pthread_mutex_init(reinterpret_cast<pthread_mutex_t*>(mutex->storage), nullptr);
}

void tql_mtx_destroy(tql_mtx_t* mutex)
{
    pthread_mutex_destroy(reinterpret_cast<pthread_mutex_t*>(mutex->storage));
}

void tql_mtx_lock(tql_mtx_t* mutex)
{
    pthread_mutex_lock(reinterpret_cast<pthread_mutex_t*>(mutex->storage));
}

int tql_mtx_trylock(tql_mtx_t* mutex)
{
    return pthread_mutex_trylock(reinterpret_cast<pthread_mutex_t*>(mutex->storage)) == 0 ? 1 : 0;
}

void tql_mtx_unlock(tql_mtx_t* mutex)
{
    pthread_mutex_unlock(reinterpret_cast<pthread_mutex_t*>(mutex->storage));
}

uint64_t tql_platform_ms_since_epoch(void)
{
    return ScriptedPort::get().nowMs;
}

int tql_init_platform_logger(void)
{
    return ScriptedPort::get().loggerHandle;
}

int tql_platform_log_level(void)
{
    return ScriptedPort::get().initialLogLevel;
}

void tql_platform_print(int severity, const char* line)
{
    ScriptedPort& port = ScriptedPort::get();
    if (port.echoLog)
        fprintf(stderr, "[%d] %s\n", severity, line);
    port.logs.push_back({severity, line ? line : ""});
}

int tql_getAccount(tql_TamberAccount* account)
{
    ScriptedPort& port = ScriptedPort::get();
    ++port.getAccountCalls;
    if (!port.hasAccount)
        return 0;
    const char** slots[8] = {&account->username,      &account->password,      &account->accountField2,
                             &account->accountField3, &account->accountField4, &account->accountField5,
                             &account->accountField6, &account->accountField7};
    for (int i = 0; i < 8; ++i)
        *slots[i] = port.accountSlotSet[static_cast<size_t>(i)] ? port.account[static_cast<size_t>(i)].c_str()
                                                                : nullptr;
    return 1;
}

void tql_freeAccount(tql_TamberAccount*)
{
    ++ScriptedPort::get().freeAccountCalls;
}

int tql_setAccount(const tql_TamberAccount* account)
{
    ScriptedPort& port = ScriptedPort::get();
    ++port.setAccountCalls;
    if (!port.setAccountResult)
        return 0;
    const char* slots[8] = {account->username,      account->password,      account->accountField2,
                            account->accountField3, account->accountField4, account->accountField5,
                            account->accountField6, account->accountField7};
    port.hasAccount = true;
    for (size_t i = 0; i < 8; ++i) {
        port.accountSlotSet[i] = slots[i] != nullptr;
        port.account[i] = slots[i] ? slots[i] : "";
    }
    return 1;
}

static int copyOut(const char* name, const std::string& text, char* buffer, int size)
{
    ScriptedPort& port = ScriptedPort::get();
    auto it = port.getterResultOverride.find(name);
    if (it != port.getterResultOverride.end())
        return it->second;
    int n = static_cast<int>(text.size()) < size ? static_cast<int>(text.size()) : size;
    memcpy(buffer, text.data(), static_cast<size_t>(n));
    return n;
}

int tql_getConfigUrl(char* buffer, int size)
{
    return copyOut("configUrl", ScriptedPort::get().configUrl, buffer, size);
}

int tql_getDeviceMake(char* buffer, int size)
{
    return copyOut("make", ScriptedPort::get().deviceMake, buffer, size);
}

int tql_getDeviceModel(char* buffer, int size)
{
    return copyOut("model", ScriptedPort::get().deviceModel, buffer, size);
}

int tql_GetMAC(char* buffer, int size)
{
    return copyOut("mac", ScriptedPort::get().mac, buffer, size);
}

int tql_getFixedKey(char* buffer, int size)
{
    return copyOut("fixedKey", ScriptedPort::get().fixedKey, buffer, size);
}

int tql_cr_init(void)
{
    return ScriptedPort::get().crInitResult;
}

int tql_cipher_get_algo_keylen(void)
{
    return ScriptedPort::get().keyLength;
}

int tql_decrypt_start(tql_decryptParams params)
{
    return ScriptedPort::get().decryptStart(params);
}

int tql_decrypt_process(tql_decryptParams params)
{
    return ScriptedPort::get().decryptProcess(params);
}

void tql_decrypt_done(void)
{
    ScriptedPort::get().decryptDone();
}

void* tamber_HT_init(void)
{
    ScriptedPort& port = ScriptedPort::get();
    if (port.initHandleFails)
        return nullptr;
    ++port.handlesMade;
    return malloc(1);
}

int tamber_HT_Request(tamberHTRequestCtx* ctx)
{
    return ScriptedPort::get().performRequest(ctx);
}

void tamber_HT_reset(void*)
{
    ++ScriptedPort::get().resets;
}

void tamber_HT_clearCtxData(tamberHTRequestCtx* ctx)
{
    ++ScriptedPort::get().clearCtxCalls;
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
    ++ScriptedPort::get().handlesCleaned;
    free(handle);
}

} // extern "C"
