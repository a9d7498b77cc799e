#include "FuzzInput.h"

#include <cstdio>
#include <cstdlib>

void fuzzFailure(const char *property, const QString &detail)
{
    std::fprintf(stderr, "property failed: %s\n%s\n", property, detail.toUtf8().left(2000).constData());
    std::abort();
}
