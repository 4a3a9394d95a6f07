#ifndef TAMBER_LOGOS_H
#define TAMBER_LOGOS_H

#include "tamberResponse/tamberRecords.h"

// Replaces a list of images by four sized variants of its best logo: the
// widest image whose name is one of `names` (the first among equals). The
// first variant is the logo's own URL; each of the other three is a quarter
// of the logo's width smaller and asks the image server for that size. A
// list without such a logo, or whose logo has no URL, is left as it came.
void tql_scaleBestLogo(tql_list<TQLImage>& images, const char* const* names, int nameCount);

#endif
