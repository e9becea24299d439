// Registering and removing the service from the command line. Both report
// to the console and to the log; neither returns a result (the process exit
// code is always 0).
#pragma once

#include <windows.h>

// Registers this executable, by its quoted path, as a service.
void InstallService(const wchar_t* serviceName, const wchar_t* displayName, const wchar_t* description, DWORD startType,
                    const wchar_t* dependencies, const wchar_t* account, const wchar_t* password);

// Stops the service if it runs, deletes it and deletes the persisted radio
// power status.
void UninstallService(const wchar_t* serviceName);
