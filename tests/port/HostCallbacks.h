#ifndef HOST_CALLBACKS_H
#define HOST_CALLBACKS_H

// A host's callback block with every slot the library insists on filled by a
// function that accepts and does nothing; a test sets the slots it watches.
#include "tqllib.h"

namespace testport {

tql_CallbackStruct quietCallbacks(void* hostContext);

} // namespace testport

#endif
