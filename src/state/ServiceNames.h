// The names under which this service is registered.
#pragma once

constexpr wchar_t kServiceName[] = L"Tessarine";
constexpr wchar_t kServiceDisplayName[] = L"QX Tessarine Service";
// The operating system's Wi-Fi and mobile-broadband services, as a
// double-null-terminated list.
constexpr wchar_t kServiceDependencies[] = L"WlanSvc\0WwanSvc\0";
// The same two services, each by its name, for the waits on them.
constexpr wchar_t kWlanAutoConfigService[] = L"WlanSvc";
constexpr wchar_t kWwanAutoConfigService[] = L"WwanSvc";
