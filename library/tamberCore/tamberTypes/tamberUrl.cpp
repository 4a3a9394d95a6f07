#include "tamberUrl.h"

#include <cstring>

static const char kHexDigits[] = "0123456789abcdef";

tql_url::tql_url() : m_port(-1), m_queryPairDelimiter('&'), m_queryValueDelimiter('=') {}

tql_url::tql_url(const tql_string& text, bool lowerCase) : tql_url()
{
    parseHttpUrl(text, lowerCase);
}

tql_url::~tql_url() {}

tql_url& tql_url::operator=(const tql_string& text)
{
    setUrl(text);
    return *this;
}

tql_url& tql_url::operator=(const tql_bytearray& text)
{
    setUrl(text.str());
    return *this;
}

void tql_url::setUrl(const tql_string& text, bool lowerCase)
{
    clear();
    parseHttpUrl(text, lowerCase);
}

void tql_url::clear()
{
    *this = tql_url();
}

bool tql_url::isEmpty() const
{
    return toString(None).isEmpty();
}

tql_string tql_url::headSlice(tql_string& text, const tql_string& delimiter)
{
    int at = text.indexOf(delimiter, 0);
    if (at < 0)
        return tql_string("");
    tql_string head = text.left(at);
    text = text.mid(at + delimiter.length());
    return head;
}

tql_string tql_url::tailSlice(tql_string& text, const tql_string& delimiter, bool keep)
{
    int at = text.indexOf(delimiter, 0);
    if (at < 0)
        return tql_string("");
    tql_string tail = text.mid(keep ? at : at + delimiter.length());
    text = text.left(at);
    return tail;
}

// Cuts the text from both ends; each step removes what it took.
void tql_url::parseHttpUrl(tql_string text, bool lowerCase)
{
    m_port = -1;
    m_fragment = tailSlice(text, "#", false);
    m_scheme = headSlice(text, "://");
    m_query = tailSlice(text, "?", false);
    parseQueryString(m_query);
    m_path = tailSlice(text, "/", true);
    m_userName = headSlice(text, "@");
    m_password = tailSlice(m_userName, ":", false);
    tql_string portText = tailSlice(text, ":", false);
    m_port = portText.toInt(nullptr, 10);
    if (m_port == 0 && portText != "0")
        m_port = -1;
    m_host = lowerCase ? text.toLower() : text;
}

void tql_url::parseQueryString(const tql_string& text)
{
    m_queryItems.clear();
    if (text.isEmpty())
        return;
    for (const tql_string& part : text.split(m_queryPairDelimiter, tql_string::KeepEmptyParts)) {
        int at = part.indexOf(m_queryValueDelimiter, 0);
        if (at < 0)
            m_queryItems.push_back(tql_queryItem(part, tql_string("")));
        else
            m_queryItems.push_back(tql_queryItem(part.left(at), part.mid(at + 1)));
    }
}

tql_string tql_url::queryString() const
{
    tql_string out("");
    for (size_t i = 0; i < m_queryItems.size(); ++i) {
        if (i)
            out += m_queryPairDelimiter;
        out += m_queryItems[i].first;
        out += m_queryValueDelimiter;
        out += m_queryItems[i].second;
    }
    return out;
}

tql_string tql_url::queryItemValue(const tql_string& key) const
{
    for (const tql_queryItem& item : m_queryItems)
        if (item.first == key)
            return item.second;
    return tql_string("");
}

tql_string tql_url::userInfo() const
{
    tql_string out(m_userName);
    if (!m_password.isEmpty())
        out += ":" + m_password;
    return out;
}

tql_string tql_url::authority() const
{
    tql_string out = userInfo();
    if (!out.isEmpty())
        out += "@";
    out += m_host;
    if (m_port != -1)
        out += tql_string::formatString(":%d", m_port);
    return out;
}

void tql_url::setUserInfo(const tql_string& text)
{
    tql_string rest(text);
    m_userName = rest.contains('@') ? headSlice(rest, "@") : rest;
    m_password = tailSlice(m_userName, ":", false);
}

tql_list<tql_queryItem> tql_url::encodedQueryItems() const
{
    tql_list<tql_queryItem> out;
    for (const tql_queryItem& item : m_queryItems)
        out.push_back(tql_queryItem(uriEncode(item.first), uriEncode(item.second)));
    return out;
}

tql_bytearray tql_url::encodedQueryItemValue(const tql_string& key) const
{
    return uriEncode(queryItemValue(key)).toUtf8();
}

void tql_url::addEncodedQueryItem(const tql_string& key, const tql_string& value)
{
    m_queryItems.push_back(tql_queryItem(uriEncode(key), uriEncode(value)));
}

void tql_url::addQueryItem(const tql_string& key, const tql_string& value)
{
    m_queryItems.push_back(tql_queryItem(key, value));
}

// Bytes that may stand in a URL as they are: unreserved characters, the
// delimiters, and "%" so that text encoded once is never encoded twice.
static bool allowedInUrl(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           (c && strchr("-._~!$&'()*+,;=:@/?#[]%", c));
}

static tql_string escapeForUrl(const tql_string& text)
{
    tql_string out("");
    for (int i = 0; i < text.length(); ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (allowedInUrl(c)) {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += kHexDigits[c >> 4];
            out += kHexDigits[c & 15];
        }
    }
    return out;
}

tql_string tql_url::build(int options, bool encoded) const
{
    auto part = [encoded](const tql_string& s) { return encoded ? escapeForUrl(s) : s; };
    tql_string out("");
    if (!(options & RemoveScheme) && !m_scheme.isEmpty())
        out += part(m_scheme) + "://";
    if ((options & RemoveAuthority) != RemoveAuthority && (options & RemoveUserInfo) != RemoveUserInfo) {
        tql_string info = part(m_userName);
        if (!(options & RemovePassword) && !m_password.isEmpty())
            info += ":" + part(m_password);
        if (!info.isEmpty())
            out += info + "@";
    }
    out += part(m_host);
    if (!(options & RemovePort) && m_port != -1)
        out += tql_string::formatString(":%d", m_port);
    if (!(options & RemovePath))
        out += part(m_path);
    if (!(options & RemoveQuery) && !m_queryItems.empty())
        out += "?" + part(queryString());
    if (!(options & RemoveFragment) && !m_fragment.isEmpty())
        out += "#" + part(m_fragment);
    if ((options & StripTrailingSlash) && out.endsWith("/"))
        out.chopLeft(1);
    return out;
}

tql_string tql_url::toString(int options) const
{
    return build(options, false);
}

tql_bytearray tql_url::toEncoded(int options) const
{
    return build(options, true).toUtf8();
}

tql_string tql_url::uriEncode(const tql_string& text)
{
    tql_string out("");
    for (int i = 0; i < text.length(); ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        bool pass = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
                    c == '.' || c == '_' || c == '~';
        if (pass) {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += kHexDigits[c >> 4];
            out += kHexDigits[c & 15];
        }
    }
    return out;
}

namespace {
struct HexTable {
    signed char value[256];
    HexTable()
    {
        memset(value, -1, sizeof value);
        for (int i = 0; i < 10; ++i)
            value['0' + i] = static_cast<signed char>(i);
        for (int i = 0; i < 6; ++i) {
            value['a' + i] = static_cast<signed char>(10 + i);
            value['A' + i] = static_cast<signed char>(10 + i);
        }
    }
};
const HexTable kHexTable;
} // namespace

tql_string tql_url::uriDecode(const tql_string& text)
{
    tql_string out("");
    int n = text.length();
    for (int i = 0; i < n; ++i) {
        char c = text[i];
        if (c == '%' && i + 2 < n) { // an escape counts only when it fits wholly
            int hi = kHexTable.value[static_cast<unsigned char>(text[i + 1])];
            int lo = kHexTable.value[static_cast<unsigned char>(text[i + 2])];
            if (hi >= 0 && lo >= 0) {
                out += static_cast<char>((hi << 4) | lo);
                i += 2;
                continue;
            }
        }
        out += c;
    }
    return out;
}
