// The logging policy keys of this executable and the reads of their values.
//
//   HKLM\Software\Policies\QX\<ProductName>            the product key
//   HKLM\Software\Policies\QX\<ProductName>\<module>   the module key
//
// ProductName comes from the executable's version resource, <module> is the
// executable's file name without extension. Every value is looked up in the
// module key first, then in the product key. Nothing here reports a failure:
// a missing key or value, or one of the wrong type or size, counts as absent.
#pragma once

#include "platform/UniqueHandle.h"

#include <windows.h>

#include <string>

namespace QX::Shared {

// The names of the policy values, as the readers look them up and as the
// Group Policy templates (policy/) write them.
inline constexpr wchar_t kLoggingTypeValue[] = L"LoggingType";
inline constexpr wchar_t kMinLogLevelValue[] = L"MinLogLevel";
inline constexpr wchar_t kMaxLogLevelValue[] = L"MaxLogLevel";
inline constexpr wchar_t kMaxLogSizeValue[] = L"MaxLogSize";
inline constexpr wchar_t kQueuedWritesValue[] = L"QueuedWrites";

struct PolicyKeys {
    os::UniqueRegKey product;
    os::UniqueRegKey module;
};

// Closes both keys, then opens them for `productName`, or for the product of
// this executable's version resource when it is null or empty. The module key
// is opened only when the product key opened. A key that does not open stays
// closed.
void OpenPolicyKeys(const wchar_t* productName, PolicyKeys& keys);
// The same for the module key of another executable of the product (named
// `moduleName`, its file name without extension), as that program reads it.
void OpenPolicyKeysFor(const wchar_t* productName, const std::wstring& moduleName, PolicyKeys& keys);

// The product key's path below HKLM ("Software\Policies\QX\<product>") for
// `productName`, or for the product of this executable's version resource
// when it is null or empty; empty when there is no product name.
std::wstring ProductKeyPath(const wchar_t* productName);

// The executable's file name without its extension ("Tessarine" for
// C:\...\Tessarine.exe); empty when the path has no dot or no backslash.
std::wstring ExecutableBaseName();

// A REG_SZ value of at most maxCharacters characters, non-empty.
bool ReadPolicyText(const PolicyKeys& keys, const wchar_t* name, size_t maxCharacters, std::wstring& text);

// Up to `size` bytes of a value of any registry type into `buffer`; fails
// when the value is missing or longer than the buffer at both keys.
bool ReadPolicyBytes(const PolicyKeys& keys, const wchar_t* name, void* buffer, DWORD size);

// A 4-byte value of any registry type. With zeroIsAbsent a 0 in the module
// key falls through to the product key, and a 0 there counts as absent.
bool ReadPolicyNumber(const PolicyKeys& keys, const wchar_t* name, bool zeroIsAbsent, DWORD& number);

}  // namespace QX::Shared
