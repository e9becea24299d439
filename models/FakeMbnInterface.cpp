#include "models/FakeMbnInterface.h"

#include "models/FakeComTexts.h"

namespace fakes {

FakeMbnInterface::FakeMbnInterface(ComLedger& ledger, std::wstring interfaceId, HRESULT idFailure)
    : CountedObject(ledger), m_interfaceId(std::move(interfaceId)), m_idFailure(idFailure)
{
}

HRESULT STDMETHODCALLTYPE FakeMbnInterface::get_InterfaceID(BSTR* interfaceId)
{
    if (FAILED(m_idFailure)) {
        *interfaceId = nullptr;
        return m_idFailure;
    }
    *interfaceId = FakeComTexts::MakeBstr(m_interfaceId);
    return S_OK;
}

SAFEARRAY* MakeInterfaceArray(const std::vector<IMbnInterface*>& interfaces, LONG lowerBound)
{
    SAFEARRAYBOUND bound = {static_cast<ULONG>(interfaces.size()), lowerBound};
    SAFEARRAY* array = SafeArrayCreate(VT_UNKNOWN, 1, &bound);
    for (size_t i = 0; i < interfaces.size(); ++i) {
        LONG index = lowerBound + static_cast<LONG>(i);
        SafeArrayPutElement(array, &index, static_cast<IUnknown*>(interfaces[i]));  // adds a reference
    }
    return array;
}

} // namespace fakes
