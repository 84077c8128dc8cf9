#include "web/Changes.h"

#include <algorithm>
#include <chrono>

#include "platform/corestore/ValueText.h"
#include "platform/kel/StandardError.h"
#include "records/catalog/Catalog.h"
#include "views/ShownChange.h"

namespace Web {

namespace {

/** So long the changes of one burst gather; and so far bundles are apart, or so many times as far
 *  as what they led to took. */
constexpr Orb::Seconds gather = 0.02;
constexpr Orb::Seconds apart = 0.05;
constexpr Orb::Seconds farthestApart = 1;
constexpr double restOfAnswers = 4;
/** Of a bundle so many are told one by one, and so many of all are kept. */
constexpr std::size_t shownOfBundle = 50;
constexpr std::size_t kept = 200;
constexpr std::size_t longestText = 300;

constexpr std::pair< char const *, char const * > kinds[] = {
   { "polFragDir", "policy" },         { "polFragStatus", "flows" },
   { "agentStatus", "agent" },         { "pfHwConfig", "rules" },
   { "pfHwConfigL3", "rules" },        { "pfHwStatus", "answers" },
   { "pfHwStatusL3", "answers" },      { "ofHwStatus", "answers" },
   { "bridgingConfig", "ports" },      { "switchIntfConfigDir", "ports" },
   { "dynAllowedVlans", "ports" },     { "vtiStatusDir", "tunnels" },
   { "vniSviConfig", "tunnels" },      { "nimbusVniBaseDir", "tunnels" },
   { "slabBridgingStatus", "hosts" },  { "l2RibQorHostInput", "hosts" },
   { "mlagHostTable", "hosts" },       { "mgmtControllerStatus", "service" },
   { "groupTypeConfigDir", "routed" }, { "groupSetConfigDir", "routed" },
   { "fragmentConfigDir", "routed" },  { "groupTypeStatus", "routed" },
   { "groupSetStatusDir", "routed" },  { "fragmentStatusDir", "routed" } };

std::int64_t millisecondsOfDay() {
   return std::chrono::duration_cast< std::chrono::milliseconds >(
             std::chrono::system_clock::now().time_since_epoch() )
      .count();
}

std::string cut( std::string text ) {
   if ( text.size() > longestText ) {
      text.resize( longestText );
      text += " ...";
   }
   return text;
}

Kel::Value valueOf( Corestore::Change const & change, std::uint64_t number ) {
   Views::ShownChange shown = Views::shown( change );
   if ( auto * const members = shown.value ? shown.value->as< Kel::Value::Object >() : nullptr ) {
      // The path says what it is.
      std::erase_if( *members, []( auto const & member ) { return member.first == "@type"; } );
   }
   return Kel::Value::Object{
      { "number", number },
      { "time", millisecondsOfDay() },
      { "kind", kindOfChange( change.rootPath ) },
      { "path", cut( shown.path ) },
      { "writer", shown.writer },
      { "value",
        shown.value ? Kel::Value( cut( Corestore::jsonLine( *shown.value ) ) ) : Kel::Value() } };
}

}  // namespace

char const * kindOfChange( std::string_view rootPath ) {
   static auto const byPath = [] {
      std::map< std::string_view, char const * > found;
      for ( auto const & [input, kind] : kinds ) {
         found.emplace( Catalog::pathOf( input ), kind );
      }
      return found;
   }();
   auto const found = byPath.find( rootPath );
   return found == byPath.end() ? "switch" : found->second;
}

Changes::Changes( Corestore::EntityManager & em, Events & events )
   : em_( em ),
     events_( events ),
     number_( 1000 * static_cast< std::uint64_t >( millisecondsOfDay() ) ) {
   observer_.emplace( em, [this]( Corestore::Change const & change ) { seen( change ); } );
}

Changes::~Changes() {
   em_.scheduler().disarm( *this );
}

void Changes::seen( Corestore::Change const & change ) {
   ++number_;
   std::string_view const kind = kindOfChange( change.rootPath );
   for ( auto * const counts : { &counts_, &bundle_ } ) {
      auto const found = counts->find( kind );
      ++( found == counts->end() ? counts->emplace( kind, 0 ).first->second : found->second );
   }
   if ( shown_.size() < shownOfBundle ) {
      shown_.push_back( valueOf( change, number_ ) );
   }
   if ( !isArmed_ ) {
      isArmed_ = true;
      em_.scheduler().arm( *this, std::max( em_.scheduler().now() + gather, told_ + apart ) );
   }
}

void Changes::due() {
   Orb::Seconds const rest = std::clamp( restOfAnswers * spent_, apart, farthestApart );
   if ( em_.scheduler().now() < told_ + rest ) {
      em_.scheduler().arm( *this, told_ + rest );
      return;
   }
   isArmed_ = false;
   told_ = em_.scheduler().now();
   spent_ = 0;
   Kel::Value::Object counted;
   for ( auto const & [kind, count] : bundle_ ) {
      counted.emplace_back( kind, count );
   }
   for ( Kel::Value const & change : shown_ ) {
      last_.push_front( change );
   }
   while ( last_.size() > kept ) {
      last_.pop_back();
   }
   events_.tell( "changes", Kel::Value::Object{ { "kinds", std::move( counted ) },
                                                { "changes", std::move( shown_ ) } } );
   bundle_.clear();
   shown_.clear();
}

Kel::Value::Array Changes::last() const {
   return { last_.begin(), last_.end() };
}

}  // namespace Web
