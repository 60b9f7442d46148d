/// Preloaded into a program under test: the user database says that the home is ZWMGMT_TEST_HOME.
#include <dlfcn.h>
#include <pwd.h>

#include <cstdlib>

extern "C" __attribute__((visibility("default"))) int getpwuid_r(uid_t user, passwd* entry,
                                                                 char* texts, size_t size,
                                                                 passwd** found) {
    using Real = int (*)(uid_t, passwd*, char*, size_t, passwd**);
    static const Real real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "getpwuid_r"));
    const int result = real(user, entry, texts, size, found);
    if (*found != nullptr) (*found)->pw_dir = std::getenv("ZWMGMT_TEST_HOME");
    return result;
}
