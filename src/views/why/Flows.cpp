#include "views/why/Flows.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "platform/kel/Dir.h"
#include "qorclient/agent/Status.h"
#include "records/catalog/Catalog.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "records/qorl3/FragmentConfig.h"
#include "records/qorl3/FragmentStatus.h"
#include "views/tables/Places.h"

namespace Views {

namespace {

template < class Fragment, class Add >
void addRouted( Add const & add, Corestore::EntityManager const & em, char const * path ) {
   for ( auto const & vrf : em.entity< Kel::Dir >( path )->entity() ) {
      auto const fragment = Kel::ptrCast< Fragment >( vrf.value );
      for ( auto const & group : fragment->flowGroup() ) {
         for ( auto const & flow : group.value->flow() ) {
            add( { FlowPlace::Kind::routed, vrf.key, flow.key, group.key } );
         }
      }
   }
}

/** Those that are wanted of all that are there. To sort them costs most of it. */
template < class Wanted >
std::vector< FlowPlace > flowsThat( Corestore::EntityManager const & em, Wanted const & wanted ) {
   std::set< FlowPlace > flows;
   auto const add = [&]( FlowPlace const & flow ) {
      if ( wanted( flow ) ) {
         flows.insert( flow );
      }
   };
   if ( auto const policy = policyOf( em ) ) {
      for ( auto const & fragment : policy->policyFragment() ) {
         for ( auto const & flow : fragment.value->flow() ) {
            add( { FlowPlace::Kind::policy, fragment.key, flow.key, {} } );
         }
      }
   }
   auto const statuses =
      em.entity< Qor::V1::QorPolicyFragmentStatus >( Catalog::pathOf( "polFragStatus" ) );
   for ( auto const & fragment : statuses->policyFragment() ) {
      for ( auto const & flow : fragment.value->flowStatus() ) {
         add( { FlowPlace::Kind::policy, fragment.key, flow.key, {} } );
      }
   }
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   for ( auto const & fragment : agent->policyFragmentInfo() ) {
      for ( auto const & flow : fragment.value->flowInfo() ) {
         add( { FlowPlace::Kind::policy, fragment.key, flow.key, {} } );
      }
   }
   addRouted< QorL3::V1::FragmentConfig >( add, em, Catalog::pathOf( "fragmentConfigDir" ) );
   addRouted< QorL3::V1::FragmentStatus >( add, em, Catalog::pathOf( "fragmentStatusDir" ) );
   return { flows.begin(), flows.end() };
}

/** Whether a text is the flow's path, as `flowPath` makes it. */
bool isPath( std::string_view text, FlowPlace const & flow ) {
   std::size_t const slash = flow.place.size();
   return text.size() == slash + 1 + flow.flow.size() && text[slash] == '/' &&
          text.starts_with( flow.place.view() ) && text.ends_with( flow.flow.view() );
}

}  // namespace

std::vector< FlowPlace > flowsOf( Corestore::EntityManager const & em ) {
   return flowsThat( em, []( FlowPlace const & ) { return true; } );
}

std::vector< FlowPlace > flowsNamed( Corestore::EntityManager const & em, std::string_view name ) {
   return flowsThat( em, [name]( FlowPlace const & flow ) {
      return flow.flow.view() == name || isPath( name, flow );
   } );
}

Chain chainOf( Corestore::EntityManager const & em, FlowPlace const & flow ) {
   return flow.kind == FlowPlace::Kind::policy ? policyChain( em, flow ) : routedChain( em, flow );
}

Kel::Value chainValue( FlowPlace const & flow, Chain const & chain ) {
   bool const routed = flow.kind == FlowPlace::Kind::routed;
   Kel::Value::Object value{ { routed ? "vrf" : "fragment", flow.place.stringValue() },
                             { "name", flow.flow.stringValue() } };
   if ( routed ) {
      value.emplace_back( "preference", std::int64_t{ flow.order.preference } );
      value.emplace_back( "group_priority", std::int64_t{ flow.order.priority } );
   }
   std::ranges::move( chain.members(), std::back_inserter( value ) );
   return value;
}

}  // namespace Views
