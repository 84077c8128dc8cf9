#include <map>
#include <string_view>

#include "qorclient/agent/Status.h"
#include "records/catalog/Catalog.h"
#include "views/tables/Places.h"
#include "views/tables/Tables.h"
#include "views/tables/UnplacedHosts.h"
#include "views/tables/Words.h"

namespace Views {

namespace {

using Bridging::MacVlanPair;

/** The hosts in a known VLAN, each with the flows that intercept it. */
std::map< MacVlanPair, Flows > placedHosts( QorClient::Status const & agent ) {
   std::map< MacVlanPair, Flows > hosts;
   for ( auto const & fragment : agent.policyFragmentInfo() ) {
      for ( auto const & flow : fragment.value->flowInfo() ) {
         for ( auto const & host : flow.value->boundHost() ) {
            hosts[host.key].push_back( flowPath( fragment.key, flow.key ) );
         }
      }
   }
   for ( auto const & host : agent.boundHost() ) {
      hosts[host.key];
   }
   for ( auto const & host : agent.warmHost() ) {
      hosts[host.key];
   }
   return hosts;
}

}  // namespace

TextTable hostsTable( Corestore::EntityManager const & em, Choice const & choice ) {
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   ServiceVlans const services = serviceVlans( em );
   TextTable table( { "HOST", "VLAN", "FLOWS", "INTERFACE", "MOVES", "STATE" }, choice );
   constexpr std::string_view waiting = "waiting: ";
   for ( auto const & placed : placedHosts( *agent ) ) {
      MacVlanPair const & host = placed.first;
      bool const warm = agent->warmHostHas( host );
      auto const state = [&] {
         return !warm ? std::string( waiting ) + whyNotKnown( em, services, host ).words
                : agent->boundHostHas( host ) ? "known"
                                              : "known, no longer wanted";
      };
      table.row(
         // Why it waits is not looked up where nobody asks for it.
         [&] { return !warm && waiting.starts_with( choice.state ) ? choice.state : state(); },
         [&] {
            return cellsOf( host.mac.stringValue(), host.vlanId.value(), placed.second,
                            agent->warmHost( host ).shortName(), learntRow( em, host ).moveCount,
                            state() );
         } );
   }
   for ( auto const & unplaced : unplacedHosts( em, *agent ) ) {
      auto const state = [&] { return whyUnplaced( *agent, unplaced.first.second ); };
      table.row( state, [&] {
         return cellsOf( unplaced.first.first.stringValue(), Cell(), unplaced.second, Cell(),
                         Cell(), state() );
      } );
   }
   return table;
}

}  // namespace Views
