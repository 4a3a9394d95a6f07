/* A C99 host of the shared object: the public header compiles as C with all
 * warnings as errors, and the exported functions answer through the .so. */
#include <stdio.h>
#include <string.h>

#include "tqllib.h"

static int failures = 0;

#define CHECK(cond)                                                   \
    do {                                                              \
        if (!(cond)) {                                                \
            fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #cond); \
            ++failures;                                               \
        }                                                             \
    } while (0)

int main(void)
{
    int major = 0, minor = 0, patch = 0;
    char buffer[8];
    unsigned int length = sizeof buffer;

    CHECK(tql_stopChannel() == -1); /* strict: no core yet */
    CHECK(tql_selectStreamIndex(1) == 0);
    CHECK(tql_init() == TQL_OK);
    CHECK(tql_getVersion(&major, &minor, &patch) == TQL_OK);
    CHECK(major == TQL_VERSION_MAJOR && minor == TQL_VERSION_MINOR && patch == TQL_VERSION_PATCH);
    CHECK(tql_checkVersion(TQL_HEADER_VERSION) == TQL_OK);
    CHECK(strcmp(tql_get_error(57), "Don't miss everything TamberQL has to offer. Please purchase a "
                                    "subscription to continue listening") == 0);
    CHECK(tql_getFaultResponseMessage(buffer, &length) == 0 && length == 0);
    CHECK(tql_freePresets(NULL) == TQL_OK);
    CHECK(tql_deinit() == TQL_OK);
    CHECK(tql_deinit() == TQL_FAIL);

    if (failures == 0)
        printf("c_surface: all checks passed\n");
    return failures == 0 ? 0 : 1;
}
