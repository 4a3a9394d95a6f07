// Memory, waiting, mutexes, clock, logging, settings and the account file.
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>

#include "tqlhost.h"
#include "tqllib.h"

static_assert(sizeof(pthread_mutex_t) <= sizeof(tql_mtx_t), "a pthread mutex must fit the port's storage");

namespace {
struct Settings {
    std::mutex lock;
    int logLevel = 2;
    std::string accountFile;
    std::string configUrl;
    std::string make = "tqlhost";
    std::string model = "linux";
    std::string deviceId = "tqlhost-0";
    std::string fixedKey;
};

Settings& settings()
{
    static Settings* s = new Settings(); // lives until exit, used by the library's static objects
    return *s;
}

int copyOut(const std::string& text, char* buffer, int size)
{
    int n = static_cast<int>(text.size()) < size ? static_cast<int>(text.size()) : size;
    if (n > 0)
        memcpy(buffer, text.data(), static_cast<size_t>(n));
    return n;
}

std::string toHex(const char* text)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); p && *p; ++p) {
        out += digits[*p >> 4];
        out += digits[*p & 15];
    }
    return out;
}

bool fromHex(const std::string& hex, std::string& out)
{
    if (hex.size() % 2)
        return false;
    out.clear();
    for (size_t i = 0; i < hex.size(); i += 2) {
        char pair[3] = {hex[i], hex[i + 1], 0};
        char* end = nullptr;
        long v = strtol(pair, &end, 16);
        if (*end)
            return false;
        out += static_cast<char>(v);
    }
    return true;
}
// A new file that only its owner can read. Whatever stood at that name (a
// temporary left by a crash, someone else's file, a symbolic link) is
// removed, never opened: its mode or its target would otherwise receive the
// credentials. Should something appear there again before the create, the
// create fails instead of following it.
int createPrivate(const std::string& path)
{
    unlink(path.c_str());
    return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
}

// The rename is only durable once the directory that holds the name is.
void syncDirectoryOf(const std::string& path)
{
    size_t slash = path.rfind('/');
    std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        fsync(fd);
        close(fd);
    }
}
} // namespace

extern "C" {

void tqlhost_set_log_level(int level)
{
    settings().logLevel = level;
}

void tqlhost_set_account_file(const char* path)
{
    std::lock_guard<std::mutex> guard(settings().lock);
    settings().accountFile = path ? path : "";
}

void tqlhost_set_config_url(const char* url)
{
    std::lock_guard<std::mutex> guard(settings().lock);
    settings().configUrl = url ? url : "";
}

void tqlhost_set_device(const char* make, const char* model, const char* deviceId)
{
    std::lock_guard<std::mutex> guard(settings().lock);
    Settings& s = settings();
    s.make = make ? make : "";
    s.model = model ? model : "";
    s.deviceId = deviceId ? deviceId : "";
}

void tqlhost_set_fixed_key(const char* hex)
{
    std::lock_guard<std::mutex> guard(settings().lock);
    settings().fixedKey = hex ? hex : "";
}

void* tql_malloc(size_t size)
{
    return malloc(size);
}

void* tql_realloc(void* block, size_t size)
{
    return realloc(block, size);
}

void tql_free(void* block)
{
    free(block);
}

void tql_sleep(int seconds)
{
    struct timespec ts = {seconds > 0 ? seconds : 0, 0};
    while (nanosleep(&ts, &ts) != 0) {
    }
}

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
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec / 1000000);
}

int tql_init_platform_logger(void)
{
    return 1;
}

int tql_platform_log_level(void)
{
    return settings().logLevel;
}

void tql_platform_print(int severity, const char* line)
{
    fprintf(stderr, "[tql %d] %s\n", severity, line ? line : "");
}

// The account file: a header line, then one line per slot, each value in
// hex so that no byte of a credential needs escaping.
int tql_getAccount(tql_TamberAccount* account)
{
    std::string path;
    {
        std::lock_guard<std::mutex> guard(settings().lock);
        path = settings().accountFile;
    }
    std::ifstream in(path);
    std::string header;
    if (path.empty() || !in || !std::getline(in, header) || header != "tqlaccount 1")
        return 0;
    const char** slots[8] = {&account->username,      &account->password,      &account->accountField2,
                             &account->accountField3, &account->accountField4, &account->accountField5,
                             &account->accountField6, &account->accountField7};
    for (const char** slot : slots) {
        std::string line;
        std::string value;
        if (!std::getline(in, line) || !fromHex(line, value))
            break;
        *slot = strdup(value.c_str());
    }
    return account->username != nullptr;
}

void tql_freeAccount(tql_TamberAccount* account)
{
    const char* slots[8] = {account->username,      account->password,      account->accountField2,
                            account->accountField3, account->accountField4, account->accountField5,
                            account->accountField6, account->accountField7};
    for (const char* slot : slots)
        free(const_cast<char*>(slot));
    memset(account, 0, sizeof *account);
}

int tql_setAccount(const tql_TamberAccount* account)
{
    std::string path;
    {
        std::lock_guard<std::mutex> guard(settings().lock);
        path = settings().accountFile;
    }
    if (path.empty())
        return 0;
    std::ostringstream text;
    text << "tqlaccount 1\n";
    const char* slots[8] = {account->username,      account->password,      account->accountField2,
                            account->accountField3, account->accountField4, account->accountField5,
                            account->accountField6, account->accountField7};
    for (const char* slot : slots)
        text << toHex(slot) << "\n";
    // A crash never leaves half an account: write a private temporary, then rename.
    std::string temp = path + ".tmp";
    int fd = createPrivate(temp);
    if (fd < 0)
        return 0;
    std::string data = text.str();
    bool ok = write(fd, data.data(), data.size()) == static_cast<ssize_t>(data.size()) && fsync(fd) == 0;
    ok = close(fd) == 0 && ok;
    if (!ok || rename(temp.c_str(), path.c_str()) != 0) {
        unlink(temp.c_str());
        return 0;
    }
    syncDirectoryOf(path);
    return 1;
}

int tql_getConfigUrl(char* buffer, int size)
{
    std::lock_guard<std::mutex> guard(settings().lock);
    return copyOut(settings().configUrl, buffer, size);
}

int tql_getDeviceMake(char* buffer, int size)
{
    std::lock_guard<std::mutex> guard(settings().lock);
    return copyOut(settings().make, buffer, size);
}

int tql_getDeviceModel(char* buffer, int size)
{
    std::lock_guard<std::mutex> guard(settings().lock);
    return copyOut(settings().model, buffer, size);
}

int tql_GetMAC(char* buffer, int size)
{
    std::lock_guard<std::mutex> guard(settings().lock);
    return copyOut(settings().deviceId, buffer, size);
}

int tql_getFixedKey(char* buffer, int size)
{
    std::lock_guard<std::mutex> guard(settings().lock);
    return copyOut(settings().fixedKey, buffer, size);
}

} // extern "C"
