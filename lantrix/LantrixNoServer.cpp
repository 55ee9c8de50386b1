#include "lantrix/LantrixNoServer.h"

#include "lantrix/LantrixClientAPI.h"
#include "lantrix/LantrixServerImp.h"

#include <memory>
#include <new>

#include <pthread.h>

namespace {

// It is built at load time, or earlier when an object that is built before needs it, and destroyed
// when the library is unloaded, after every object of the application.
alignas(LantrixServerHandle) unsigned char storage[sizeof(LantrixServerHandle)];

void destroyState(void* state) {
    const std::unique_ptr<LantrixServerImp> owned(static_cast<LantrixServerImp*>(state));
}

// The states of threads. That of the thread which ends the process is still there for the
// destructors of static objects.
struct States {
    States() : isMade(::pthread_key_create(&key, destroyState) == 0) {}

    pthread_key_t key{};
    const bool isMade;
};

const States& states() {
    static const States made;
    return made;
}

__attribute__((constructor)) void build() {
    lantrixNoServer();
    states();
}

__attribute__((destructor)) void destroy() {
    if (states().isMade) {
        destroyState(::pthread_getspecific(states().key));
        ::pthread_key_delete(states().key);
    }
    reinterpret_cast<LantrixServerHandle*>(storage)->~LantrixServerHandle();
}

// The calling thread's state, made by the thread's first call and destroyed with the thread. A
// thread without the memory for one uses the shared state.
LantrixServerImp& stateOfThisThread(LantrixServerImp& shared) {
    if (!states().isMade)
        return shared;
    void* const kept = ::pthread_getspecific(states().key);
    if (kept != nullptr)
        return *static_cast<LantrixServerImp*>(kept);
    try {
        auto made = std::make_unique<LantrixServerImp>("");
        return ::pthread_setspecific(states().key, made.get()) == 0 ? *made.release() : shared;
    } catch (const std::bad_alloc&) {
        return shared;
    }
}

} // namespace

const LantrixServerHandle& lantrixNoServer() {
    static const LantrixServerHandle* const server = new (storage) LantrixServerHandle("");
    return *server;
}

LantrixServerImp& LantrixServerHandle::imp() const {
    lantrixAssertState(imp_);
    const bool isNoServer = static_cast<const void*>(this) == storage;
    return isNoServer ? stateOfThisThread(*imp_) : *imp_;
}
