#pragma once

#include "platform/corestore/EntityManager.h"

namespace Web {

/** How many of a kind a picture shows. */
struct PictureLimits {
   std::size_t firstFragment = 0;
   std::size_t fragments = 4;
   std::size_t ports = 48;
   std::size_t hosts = 6;
};

/**
 * The switch as it stands: ports with their VLANs and hosts, tunnels with the end points behind
 * them, fragments with their sets of service interfaces, and the ways of traffic through the
 * service. Of much there are a few and a count.
 */
Kel::Value::Object pictureOf( Corestore::EntityManager const & em, PictureLimits const & limits );

/** The state in numbers. */
Kel::Value::Object countsOf( Corestore::EntityManager const & em );

}  // namespace Web
