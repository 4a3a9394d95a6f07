// The HLS text files of a stream: the variant file that names an index file
// per bit rate, and the index files that name the audio chunks and the key.
// Both are read by the same line loop, in place from the receive buffer.
#include "tamberPlaylistParser.h"

#include <cstring>
#include <utility>

#include "tamberRequest.h"
#include "tamberTokens.h"
#include "tamberTypes/tamberDateTime.h"
#include "tamberTypes/tamberDebug.h"
#include "tqllib.h"

namespace {
const int kLineLimit = 2048; // a longer line is cut here and its rest reads as a new line
const int kIndexTries = 3;
const int kIndexSleepSeconds = 5;
const int kEnoughAudioMs = 20000; // with more in hand a failed file is not worth a server change
const int kServerChangeSleepSeconds = 2;

const char* const kKeyTag = "#EXT-X-KEY:";
const char* const kStreamTag = "#EXT-X-STREAM-INF:";
const char* const kExtInfTag = "#EXTINF:";
const char* const kDateTimeTag = "#EXT-X-PROGRAM-DATE-TIME:";
const char* const kInlineKey = "URI=\"data:;base64";

uint64_t nowMs()
{
    return tql_datetime::currentMSecsSinceEpoch();
}

int elapsedMs(uint64_t from, uint64_t to)
{
    return static_cast<int>(to - from);
}

// An attribute value up to its closing quote; without one, all of it.
tql_string beforeLastQuote(const tql_string& text)
{
    int quote = text.lastIndexOf('"');
    return quote < 0 ? text : text.left(quote);
}

// Lines of a NUL-terminated file. remaining only drops by the characters
// copied, so it reaches 0 only in a file without line ends.
class LineReader {
public:
    LineReader(const unsigned char* text, unsigned int length)
        : m_cursor(reinterpret_cast<const char*>(text)), m_remaining(length)
    {
        memset(m_line, 0, sizeof m_line);
    }
    bool exhausted() const { return m_remaining <= 0; }
    // Empty at the end of the file, at a NUL byte and at a line of blanks.
    tql_string next()
    {
        m_remaining -= tql_bytearray::getTrimmedLine(m_cursor, m_line, kLineLimit);
        return tql_string(m_line);
    }

private:
    const char* m_cursor;
    long m_remaining;
    char m_line[kLineLimit];
};

// What the tags of one file have said so far.
struct ParseState {
    tql_string base; // entries and the key are relative to it
    TQL_HlsInfo info;
    tql_string extInf;
    tql_string streamInf;
    tql_string programDateTime; // never cleared: later entries inherit it
};

bool takeTag(const tql_string& upper, const tql_string& line, const char* tag, tql_string& value)
{
    if (!upper.startsWith(tag))
        return false;
    value = line.mid(static_cast<int>(strlen(tag)));
    return true;
}

void readKeyTag(const tql_string& attributes, ParseState& state)
{
    state.streamInf = "";
    tql_list<tql_string> parts = attributes.split(tql_string(","));
    for (size_t i = 0; i < parts.size(); ++i) {
        tql_string part = parts[i].trimmed();
        if (part.startsWith(kInlineKey)) {
            // The comma of the data URI split the base64 text off into the next part.
            if (i + 1 == parts.size())
                continue;
            tql_string key = beforeLastQuote(parts[i + 1].trimmed());
            state.info.keyData = key;
            TQL_LOG(3, "Dirrect stream info: %s", key.c_str());
            return;
        }
        if (part.startsWith("URI="))
            state.info.keyUri = state.base + beforeLastQuote(part.mid(5));
    }
}

tql_roles readEntry(const tql_string& line, ParseState& state)
{
    tql_list<tql_string> extInf = state.extInf.split(tql_string(","));
    state.extInf = "";
    tql_string durationText;
    if (extInf.size() == 1)
        state.info.streamTail = line.mid(8);
    else if (extInf.size() == 2)
        durationText = extInf[0];

    tql_string rateText;
    for (const tql_string& part : state.streamInf.split(tql_string(","))) {
        tql_string attribute = part.trimmed();
        if (attribute.startsWith("BANDWIDTH="))
            rateText = attribute.mid(10);
    }
    state.streamInf = "";

    tql_roles entry;
    // The service's entries are relative; an absolute one is glued on all the same.
    entry.uri = state.base + line;
    entry.bitRate = rateText.toInt();       // 0 when absent or beyond int
    entry.duration = durationText.toInt(); // whole seconds: strtol stops at the point
    entry.programDateTime = state.programDateTime;
    return entry;
}

void readLine(const tql_string& line, ParseState& state, tql_list<tql_roles>& out)
{
    tql_string upper = line.toUpper();
    tql_string attributes;
    if (takeTag(upper, line, kKeyTag, attributes)) {
        readKeyTag(attributes, state);
        return;
    }
    bool tag = takeTag(upper, line, kStreamTag, state.streamInf) || takeTag(upper, line, kExtInfTag, state.extInf) ||
               takeTag(upper, line, kDateTimeTag, state.programDateTime);
    if (!tag && !line.startsWith("#"))
        out.push_back(readEntry(line, state));
}

// "#EXTM3U" and then an HLS tag; the second line is not read further.
bool readHeader(LineReader& lines)
{
    if (lines.next().toUpper() != "#EXTM3U")
        return false;
    tql_string second = lines.next().toUpper();
    return second.startsWith("#SXIR") || second.startsWith("#EXT-X-");
}

tql_string baseOf(const tql_url& url)
{
    tql_string text = url.toString();
    return text.left(text.lastIndexOf('/') + 1);
}
} // namespace

TQL_HlsInfo::TQL_HlsInfo(const TQL_HlsInfo& other)
    : streamTail(other.streamTail), keyUri(other.keyUri), keyData(other.keyData), keyUriCopy(other.keyUri)
{
}

TQL_HlsInfo& TQL_HlsInfo::operator=(const TQL_HlsInfo& other)
{
    streamTail = other.streamTail;
    keyUri = other.keyUri;
    keyData = other.keyData;
    keyUriCopy = other.keyUri;
    return *this;
}

int TamberPlaylistParser::doParse(tql_url& url, tql_list<tql_roles>& out)
{
    return doParse(url, out, kIndexTries, kIndexSleepSeconds);
}

int TamberPlaylistParser::doParse(tql_url& url, tql_list<tql_roles>& out, int tries, int sleepSeconds)
{
    uint64_t start = nowMs();
    TQL_LOG(4, "doParse ENTER");
    TamberRequest& request = *m_tamberRequest;
    request.m_partialMode = 0;
    request.m_jsonParser = nullptr;
    unsigned char* data = nullptr;
    unsigned int length = 0;
    if (request.tamberDownloadFile(url, &data, &length, tries, sleepSeconds) != 1) {
        TQL_LOG(1, "Unable to download file from url: %s ", url.toString().c_str());
        return -1;
    }
    if (!data) {
        TQL_LOG(1, "No Data to parse");
        return -1;
    }
    // The lines are read up to a NUL: the body must be the receive buffer's
    // and leave room for one behind it.
    if (data != request.m_buffer || length >= request.m_bufferSize) {
        TQL_LOG(1, "Index file of %u bytes does not fit the receive buffer", length);
        return -1;
    }
    data[length] = '\0';
    out.clear();

    LineReader lines(data, length);
    if (!readHeader(lines))
        return -1;
    uint64_t downloaded = nowMs();
    ParseState state;
    state.base = baseOf(url);
    while (!lines.exhausted()) {
        tql_string line = lines.next();
        if (line.isEmpty())
            break;
        readLine(line, state, out);
    }
    if (out.empty())
        return 1;

    tql_roles carrier; // the file's key travels in the last element
    carrier.hlsInfo = state.info;
    out.push_back(carrier);
    uint64_t end = nowMs();
    TQL_LOG(4, "doParse download  %d ms", elapsedMs(start, downloaded));
    TQL_LOG(4, "doParse parsing   %d ms", elapsedMs(downloaded, end));
    TQL_LOG(4, "doParse full time %d ms", elapsedMs(start, end));
    return 1;
}

int TamberPlaylistParser::tamberDownloadVariantFile(tokenDataT& tokenData, tokenRequestStrT& request,
                                                    tql_list<tql_roles>& out, int dataLeftMs)
{
    TQL_LOG(4, "m_tamberRequest->getVariantFilesHLSv2");
    tamberVariantUrls urls = m_tamberRequest->getVariantFilesHLSv2(request, tokenData);
    tql_url first = urls.primary;
    tql_url second = urls.secondary;
    if (request.useAlternateServer)
        std::swap(first, second);
    if (first.isEmpty() && second.isEmpty()) {
        TQL_LOG(1, "Variant Url is empty");
        return -1;
    }
    TQL_LOG(3, "\nPrimary Variant Url : %s, \nSecondary Variant Url:%s", first.toString().c_str(),
            second.toString().c_str());

    int result = doParse(first, out);
    request.useAlternateServer = tokenData.useAlternateServer;
    if (result != -1 || dataLeftMs > kEnoughAudioMs)
        return 1;
    if (doParse(second, out) != -1) {
        // The engine learns of the server change through this flag.
        tokenData.useAlternateServer = tokenData.useAlternateServer ? 0 : 1;
        request.useAlternateServer = tokenData.useAlternateServer;
        return 1;
    }
    tql_sleep(kServerChangeSleepSeconds);
    if (doParse(first, out) == -1) {
        TQL_LOG(1, "Unable to parse index variant file");
        return -1;
    }
    return 1;
}
