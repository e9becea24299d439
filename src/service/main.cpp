#include "logging/Logger.h"

int wmain(int, wchar_t**)
{
    QX::Shared::Log(QX::Shared::GetLogger(), QX::Shared::LevelTraceIn, "wmain", L"");
    return 0;
}
