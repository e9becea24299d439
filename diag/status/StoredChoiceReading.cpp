// The stored radio choices, read by the service's own readers (missing or
// empty counts as "True"; only the exact text "True" is on).
#include "status/Readings.h"

#include "radio/PowerStatus.h"

namespace diag {
namespace {

StoredChoice FromStored(const ServiceUtils::StoredPowerStatus& stored)
{
    StoredChoice choice;
    choice.text = stored.text;
    choice.wasEmpty = stored.wasEmpty;
    choice.on = stored.IsOn();
    return choice;
}

}  // namespace

StoredChoice ReadStoredWlanChoice() { return FromStored(ServiceUtils::ReadWlanPowerStatus()); }

StoredChoice ReadStoredWwanChoice() { return FromStored(ServiceUtils::ReadWwanPowerStatus()); }

}  // namespace diag
