#include "tamberErrorText.h"

namespace {
struct ErrorRow {
    int code;
    const char* text;
};

// Scanned from the top; the order is not numeric (57 stands after 59) and the
// closing row ends the walk.
const ErrorRow kErrorTable[] = {
    {0, "No Error"},
    {1, "General Library Error"},
    {3, "Configuration error"},
    {4, "Tamber not properly configured"},
    {13, "Channel Lineup Error"},
    {14, "Channel Lineup Error"},
    {15, "Playback stopped."},
    {16, "Tamber Token Update Error: Url is empty"},
    {17, "Unavailable Channel"},
    {18, "Service Error: Invalid session. Please try again."},
    {20, "Failed to get recents"},
    {21, "Failed to get favorites"},
    {22, "Failed to get Profile GUP Collation data"},
    {23, "Failed to get recommendations"},
    {24, "Failed to get presets"},
    {25, "Failed to get search results"},
    {26, "Password Error"},
    {30, "Not enough memory"},
    {32, "Unable to connect to TamberQL. Please check your Internet connection."},
    {33, "Playback stopped.  Account logged into another device."},
    {34, "Unavailable Channel"},
    {35, "HLS client Error"},
    {37, "Streaming client stopped"},
    {45, "Unable to connect to TamberQL. Please check your Internet connection."},
    {49, "Authentication failed."},
    {50, "Invalid or missing TamberQL credentials."},
    {51, "TamberQL service error. Please try again."},
    {52, "Too many unsuccessful login attempts. Please wait a few minutes and try again."},
    {53, "Invalid Session"},
    {54, "Invalid library version"},
    {55, "Content unreachable. Check your Internet connection."},
    {56, "Your account is past due. Please log in to make a payment. After receiving your payment, your "
         "service will be reactivated and you can continue to enjoy TamberQL."},
    {58, "Subscriber account closed"},
    {59, "On Demand Episode is no longer available"},
    {57, "Don't miss everything TamberQL has to offer. Please purchase a subscription to continue listening"},
    {406, "Failed to save favorites."},
    {500, "TamberQL server unreachable. Please check your internet connection."},
    {5260, "Your account is not compatible with this device."},
    {0, nullptr},
};
} // namespace

const char* tql_int_get_error(int code)
{
    for (const ErrorRow* row = kErrorTable;; ++row) {
        if (row->code == code && row->text)
            return row->text;
        if (!row->text)
            return "";
    }
}
