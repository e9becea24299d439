#include "platform/Api.h"

namespace os {

Api& api()
{
    // A function-local table: ready even for callers that run during static
    // initialisation of other files.
    static Api table;
    return table;
}

ScopedApiOverride::ScopedApiOverride() : m_saved(api()) {}

ScopedApiOverride::~ScopedApiOverride() { api() = m_saved; }

}  // namespace os
