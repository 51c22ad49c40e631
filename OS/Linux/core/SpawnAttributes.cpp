#include "SpawnAttributes.h"

#include <csignal>

SpawnAttributes::SpawnAttributes()
{
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

SpawnAttributes::~SpawnAttributes() { posix_spawnattr_destroy(&attributes); }
