// The two consumption endpoints: a report of a valid session is checked
// against its document and kept; a malformed one is refused as a bad
// request, which the library only logs.
#include "consume.h"
#include "json_writer.h"
#include "service.h"

#include <cstdio>

namespace tqlsim {

namespace {

const int kBadRequestCode = 600;

Reply answer(int status, int code, const char* text)
{
    JsonWriter w;
    w.beginObject().key("TamberQLMessage").beginObject().field("status", status);
    w.key("messages").beginArray().beginObject().field("code", code).field("message", text).endObject().endArray();
    w.key("moduleList").beginObject().key("modules").beginArray().endArray().endObject();
    w.endObject().endObject();
    Reply r;
    r.body = w.str();
    return r;
}

// The SESSION cookie; sessionRejected has already found it valid.
std::string sessionOf(const httplib::Request& req)
{
    const std::string all = req.get_header_value("Cookie");
    size_t at = all.find("SESSION=");
    if (at == std::string::npos)
        return "";
    size_t end = all.find(';', at);
    return all.substr(at + 8, end == std::string::npos ? std::string::npos : end - at - 8);
}

}  // namespace

Reply Service::consume(const httplib::Request& req)
{
    Reply reply;
    if (sessionRejected(req, reply))
        return reply;
    int generation = req.path.find("/rest/v4/") == 0 ? 4 : 2;
    ConsumeReport report;
    std::string why = ConsumeLog::parse(req.body, generation, report);
    if (!why.empty()) {
        state_.consume.refused();
        std::fprintf(stderr, "tqlsim: consume report refused: %s\n", why.c_str());
        return answer(0, kBadRequestCode, "Bad request");
    }
    state_.consume.add(sessionOf(req), report);
    return answer(1, 100, "Successful request");
}

}  // namespace tqlsim
