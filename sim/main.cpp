// tqlsim: a local stand-in for the streaming service, for the library's
// tests. It listens on 127.0.0.1, answers the library's requests from a
// catalog file, and can be told to misbehave (see README.md).

#include "audio_loop.h"
#include "catalog.h"
#include "data_path.h"
#include "json_writer.h"
#include "service.h"
#include "sim_state.h"

#include <httplib.h>

#include <dirent.h>
#include <netinet/in.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace tqlsim;

namespace {

const size_t kMaxRequestBody = 1024 * 1024;
const char* const kControlPrefix = "/__sim/";

struct Options {
    int port = 0;
    std::string catalog = defaultCatalogPath();
    std::vector<std::string> faults;
    bool quiet = false;
};

void usage(FILE* to)
{
    std::fprintf(to,
                 "usage: tqlsim [--port N] [--catalog FILE] [--fault NAME[=VALUE]]... [--quiet]\n"
                 "faults: latency=MS http500[=N] drop[=N] truncate[=N] invalidjson[=N]\n"
                 "        notify[=N] expire expire-after=N elsewhere=USER lockout=SECONDS\n"
                 "        wrongkey[=0|1] chunk404[=N] badtail[=N] indexfail=primary|secondary|both|none\n");
}

// Accepts "--name value" and "--name=value".
bool optionValue(int argc, char** argv, int& i, const std::string& name, std::string& out)
{
    std::string arg = argv[i];
    if (arg == name && i + 1 < argc) {
        out = argv[++i];
        return true;
    }
    if (arg.compare(0, name.size() + 1, name + "=") == 0) {
        out = arg.substr(name.size() + 1);
        return true;
    }
    return false;
}

bool parseArgs(int argc, char** argv, Options& opt)
{
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        std::string value;
        if (arg == "--quiet") {
            opt.quiet = true;
        } else if (arg == "--help" || arg == "-h") {
            usage(stdout);
            std::exit(0);
        } else if (optionValue(argc, argv, i, "--port", value)) {
            char* end = nullptr;
            long port = std::strtol(value.c_str(), &end, 10);
            if (value.empty() || *end || port < 0 || port > 65535)
                return false;
            opt.port = static_cast<int>(port);
        } else if (optionValue(argc, argv, i, "--catalog", value)) {
            opt.catalog = value;
        } else if (optionValue(argc, argv, i, "--fault", value)) {
            opt.faults.push_back(value);
        } else {
            return false;
        }
    }
    return true;
}

// "NAME=VALUE" or "NAME" into the state; false with a message on error.
bool applyFaultText(SimState& state, const std::string& text)
{
    size_t eq = text.find('=');
    std::string name = text.substr(0, eq);
    std::string value = eq == std::string::npos ? "" : text.substr(eq + 1);
    std::string error = state.applyFault(name, value);
    if (!error.empty())
        std::fprintf(stderr, "tqlsim: %s\n", error.c_str());
    return error.empty();
}

// Shuts down accepted connections on our port: the one from `remotePort`,
// or all of them when it is -1. httplib does not hand out its sockets, so
// they are found by their port numbers. Gives the number shut down.
int shutdownConnections(int localPort, int remotePort)
{
    DIR* dir = opendir("/proc/self/fd");
    if (!dir)
        return 0;
    int count = 0;
    while (dirent* entry = readdir(dir)) {
        int fd = std::atoi(entry->d_name);
        struct stat st {};
        if (fd <= 2 || fd == dirfd(dir) || fstat(fd, &st) != 0 || !S_ISSOCK(st.st_mode))
            continue;
        sockaddr_in self{}, peer{};
        socklen_t selfLen = sizeof self, peerLen = sizeof peer;
        if (getsockname(fd, reinterpret_cast<sockaddr*>(&self), &selfLen) != 0 ||
            getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &peerLen) != 0 ||
            self.sin_family != AF_INET || ntohs(self.sin_port) != localPort)
            continue;
        if (remotePort != -1 && ntohs(peer.sin_port) != remotePort)
            continue;
        if (shutdown(fd, SHUT_RDWR) == 0)
            ++count;
        if (remotePort != -1)
            break;
    }
    closedir(dir);
    return count;
}

void delay(int ms, const SimState& state)
{
    auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!state.stopping && std::chrono::steady_clock::now() < until)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

std::string queryOf(const std::string& target)
{
    size_t q = target.find('?');
    return q == std::string::npos ? "" : target.substr(q + 1);
}

// Puts a reply into httplib's response. With `truncate` only the first half
// of the body is sent, under the full Content-Length, and the connection is
// then closed.
void send(httplib::Response& res, Reply reply, bool truncate)
{
    res.status = reply.http;
    for (const auto& h : reply.headers)
        res.set_header(h.first, h.second);
    if (!truncate) {
        res.set_content(reply.body, reply.contentType);
        return;
    }
    auto body = std::make_shared<std::string>(std::move(reply.body));
    res.set_content_provider(body->size(), reply.contentType,
                             [body](size_t offset, size_t, httplib::DataSink& sink) {
                                 size_t half = body->size() / 2;
                                 if (offset < half)
                                     sink.write(body->data() + offset, half - offset);
                                 return false;
                             });
}

void sendJson(httplib::Response& res, int http, const std::string& body)
{
    res.status = http;
    res.set_content(body, "application/json");
}

void faultControl(const httplib::Request& req, httplib::Response& res, SimState& state)
{
    std::vector<std::pair<std::string, std::string>> faults;
    if (req.has_param("name"))
        faults.push_back({req.get_param_value("name"), req.get_param_value("value")});
    else
        faults.assign(req.params.begin(), req.params.end());
    if (faults.empty())
        return sendJson(res, 400, "{\"error\":\"no fault given\"}");
    for (const auto& f : faults) {
        std::string error = state.applyFault(f.first, f.second);
        if (!error.empty())
            return sendJson(res, 400, "{\"error\":" + jsonQuote(error) + "}");
    }
    sendJson(res, 200, state.stateJson());
}

void lastControl(const httplib::Request& req, httplib::Response& res, SimState& state)
{
    LastRequest last;
    if (!state.lastRequest(req.get_param_value("path"), last))
        return sendJson(res, 404, "{\"error\":\"no request seen for this path\"}");
    res.set_header("X-Sim-Method", last.method);
    res.set_header("X-Sim-Query", last.query);
    bool isJson = !last.body.empty() && (last.body[0] == '{' || last.body[0] == '[');
    res.set_content(last.body, isJson ? "application/json" : "text/plain");
}

void control(const httplib::Request& req, httplib::Response& res, SimState& state)
{
    const std::string name = req.path.substr(std::string(kControlPrefix).size());
    const bool get = req.method == "GET", post = req.method == "POST";
    if (name == "state" && get) {
        sendJson(res, 200, state.stateJson());
    } else if (name == "last" && get) {
        lastControl(req, res, state);
    } else if (name == "fault" && post) {
        faultControl(req, res, state);
    } else if (name == "reset" && post) {
        if (req.has_param("all"))
            state.resetAll();
        else
            state.resetFaults();
        sendJson(res, 200, "{\"ok\":true}");
    } else if (name == "quit" && post) {
        sendJson(res, 200, "{\"ok\":true}");
        kill(getpid(), SIGTERM);  // taken by the signal thread, which stops the server
    } else {
        sendJson(res, 404, "{\"error\":\"not found\"}");
    }
}

// Answers a service request as the fault plan says.
void answer(const httplib::Request& req, httplib::Response& res, Service& service, const FaultPlan& plan)
{
    if (plan.drop) {
        if (shutdownConnections(req.local_port, req.remote_port) == 0)
            std::fprintf(stderr, "tqlsim: could not find the connection to drop\n");
        res.status = 500;
        return;
    }
    Reply reply = plan.http500 ? serverErrorReply() : service.handle(req);
    if (plan.invalidJson)
        reply.body = "<html><body>Service temporarily unavailable</body></html>";
    if (plan.notify)
        reply.headers.push_back({"X-TamberQL-Notification", "Action=ReloadChannelLineup"});
    send(res, std::move(reply), plan.truncate);
}

void serve(const httplib::Request& req, httplib::Response& res, Service& service, SimState& state,
           bool quiet)
{
    if (req.path.compare(0, std::string(kControlPrefix).size(), kControlPrefix) == 0)
        return control(req, res, state);
    state.record(req.path, req.method, queryOf(req.target), req.body);
    FaultPlan plan = state.takeFaultPlan();
    delay(plan.latencyMs, state);
    answer(req, res, service, plan);
    // After the reply is made, so that the session it used or created is
    // among those that end; the next request is the first to see it.
    int ended = state.countTowardsExpiry();
    if (ended >= 0 && !quiet)
        std::fprintf(stderr, "tqlsim: expire-after: %d session(s) ended after %s %s\n", ended,
                     req.method.c_str(), req.path.c_str());
}

void configureServer(httplib::Server& svr, Service& service, SimState& state, bool quiet)
{
    auto handler = [&, quiet](const httplib::Request& req, httplib::Response& res) {
        serve(req, res, service, state, quiet);
    };
    // Bodies are read here rather than by httplib, which would refuse form-typed
    // bodies above 8 KiB and parse them into parameters: the library's port may
    // send its JSON with curl's default form type.
    auto withBody = [&, quiet](const httplib::Request& req, httplib::Response& res,
                        const httplib::ContentReader& reader) {
        httplib::Request full = req;
        bool tooLarge = false;
        // A POST without any length is taken as having an empty body.
        bool read = reader([&](const char* data, size_t length) {
            tooLarge = full.body.size() + length > kMaxRequestBody;
            if (!tooLarge)
                full.body.append(data, length);
            return !tooLarge;
        });
        bool announced = req.has_header("Transfer-Encoding") ||
                         std::strtoull(req.get_header_value("Content-Length").c_str(), nullptr, 10) > 0;
        if (tooLarge || (!read && announced))
            return sendJson(res, 413, "{\"error\":\"request body too large\"}");
        serve(full, res, service, state, quiet);
    };
    svr.Get(".*", handler);
    svr.Delete(".*", handler);
    svr.Post(".*", withBody);
    svr.Put(".*", withBody);
    svr.Patch(".*", withBody);
    svr.set_payload_max_length(kMaxRequestBody);
    // Fills a body only for errors httplib raises itself (bad request line,
    // body too large); the simulator's own replies always carry a type.
    svr.set_error_handler([](const httplib::Request&, httplib::Response& res) {
        if (!res.has_header("Content-Type"))
            res.set_content("{\"error\":\"bad request\"}", "application/json");
    });
    svr.set_exception_handler([](const httplib::Request&, httplib::Response& res, std::exception_ptr) {
        Reply r = serverErrorReply();
        res.status = r.http;
        res.set_content(r.body, r.contentType);
    });
    if (!quiet) {
        svr.set_logger([](const httplib::Request& req, const httplib::Response& res) {
            std::fprintf(stderr, "tqlsim: %s %s -> %d\n", req.method.c_str(), req.target.c_str(),
                         res.status);
        });
    }
}

}  // namespace

int main(int argc, char** argv)
{
    Options opt;
    if (!parseArgs(argc, argv, opt)) {
        usage(stderr);
        return 2;
    }
    Catalog catalog;
    std::string error;
    if (!loadCatalog(opt.catalog, catalog, error)) {
        std::fprintf(stderr, "tqlsim: %s\n", error.c_str());
        return 2;
    }
    AudioLoop audio;
    if (!catalog.tracks.empty()) {
        std::vector<std::string> files;
        for (const Track& t : catalog.tracks)
            files.push_back(t.file);
        if (!audio.load(files, error)) {
            std::fprintf(stderr, "tqlsim: %s\n", error.c_str());
            return 2;
        }
    }
    SimState state;
    for (const std::string& f : opt.faults)
        if (!applyFaultText(state, f))
            return 2;

    // Signals are taken by one thread with sigwait; block them everywhere
    // else before httplib starts its workers.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    httplib::Server svr;
    // A reply goes out as header and body in two writes; with Nagle the body
    // would wait for the client's delayed acknowledgement, 40 ms a request.
    svr.set_tcp_nodelay(true);
    // Plain address reuse: without port sharing a busy --port fails.
    svr.set_socket_options([](int sock) {
        int yes = 1;
        setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    int port = opt.port == 0 ? svr.bind_to_any_port("127.0.0.1")
                             : (svr.bind_to_port("127.0.0.1", opt.port) ? opt.port : -1);
    if (port <= 0) {
        std::fprintf(stderr, "tqlsim: cannot listen on 127.0.0.1:%d\n", opt.port);
        return 1;
    }
    const std::string base = "http://127.0.0.1:" + std::to_string(port);
    catalog.rewriteBase(base);
    Service service(catalog, audio, state, base);
    configureServer(svr, service, state, opt.quiet);

    std::atomic<bool> listenEnded{false};
    std::thread waiter([&] {
        int sig = 0;
        sigwait(&stopSignals, &sig);
        state.stopping = true;
        while (!svr.is_running() && !listenEnded)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        svr.stop();
        // Let replies in flight go out, then end idle keep-alive connections,
        // which would otherwise hold the exit for their whole time-out.
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        shutdownConnections(port, -1);
    });

    std::printf("tqlsim listening on %s\n", base.c_str());
    // What a shell needs for tqlplay to find this simulator, ready to paste.
    std::printf("export TQLPLAY_SERVICE=%s\n", base.c_str());
    std::fflush(stdout);
    svr.listen_after_bind();
    const bool asked = state.stopping;
    listenEnded = true;
    kill(getpid(), SIGTERM);  // wakes the waiter if the server ended on its own
    waiter.join();
    return asked ? 0 : 1;
}
