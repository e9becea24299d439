// ComClass: one COM class of a device model, served through CoCreateInstance
// of the platform seam for the life of the object, so that an environment is
// the set of models it installs. A request for the class is refused where
// COM refuses it (aggregation: CLASS_E_NOAGGREGATION; a context without an
// in-process server: REGDB_E_CLASSNOTREG); otherwise the model makes an
// object, which is queried for the interface asked, and the creator's
// reference goes back. A request for any other class goes on to the
// CoCreateInstance the seam held when the class was installed: another
// model's, a test's COM runtime, or COM's own.
//
// The seam's member is a plain function pointer, so each installed class
// takes one of a fixed set of functions, its hook, for its life. Classes end
// in the reverse order of their installing, as scopes end them: the ending
// class puts back the hook it found. One that ends out of order is taken out
// of the chain (the class installed after it goes on to what it went on
// to); when a hook of another kind still goes on to it, it stays a hook that
// serves nothing until the process ends.
//
// Threads: requests come on any thread. Installing, ending and looking up a
// class are serialised by one lock, which is not held while the model makes
// its object or another hook runs: the model must outlive the requests.
#pragma once

#include <objbase.h>

#include <cstddef>
#include <functional>

namespace fakes {

class ComClass {
public:
    // Makes one object of the class and answers S_OK (the reference is the
    // creator's), or makes none and answers what CoCreateInstance returns.
    using Make = std::function<HRESULT(IUnknown** created)>;

    // Throws std::length_error when every hook is taken.
    ComClass(REFCLSID clsid, Make make);
    ~ComClass();
    ComClass(const ComClass&) = delete;
    ComClass& operator=(const ComClass&) = delete;

private:
    size_t m_hook;
};

}  // namespace fakes
