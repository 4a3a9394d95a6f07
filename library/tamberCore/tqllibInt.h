#ifndef TQLLIB_INT_H
#define TQLLIB_INT_H

#include "tqllib.h"

class tql_core;

// The middle layer of the surface: finds the one core and forwards to it.
// Lazy calls make the core first; strict ones fail when there is none.
tql_core* tql_int_get_core();
int tql_int_init();
int tql_int_deinit();

#endif
