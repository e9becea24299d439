#include "platform/Api.h"

namespace os {

Api& api()
{
    // A function-local table: ready even for callers that run during static
    // initialisation of other files.
    static Api table;
    return table;
}

ScopedApiOverride::ScopedApiOverride() : saved_(api()) {}

ScopedApiOverride::~ScopedApiOverride() { api() = saved_; }

} // namespace os
