#pragma once

#include <string>

#include "stores/redis/Keys.h"
#include "stores/redis/RedisStore.h"

namespace Program {

/** Logs what the store of a service tells: of the path of a row that is skipped its key, too, and
 *  the flow of the policy if it is one's. */
void logStoreEvent( Redis::RedisStore::Event event, std::string const & text,
                    std::string const & row, Redis::Keys const & keys );

}  // namespace Program
