#include "web/Site.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "views/packet/FollowFrame.h"
#include "views/packet/FrameTexts.h"
#include "views/tables/Tables.h"
#include "views/why/Flows.h"
#include "web/Page.h"
#include "web/Picture.h"

namespace Web {

namespace {

using Kel::Value;

constexpr std::size_t longestPage = 500;
constexpr std::size_t usualPage = 50;
/** Answers that are kept for others who ask for the same. */
constexpr std::size_t mostKnown = 32;
/** Flows of one name in as many fragments, and elements of a list in one cell. */
constexpr std::size_t mostChains = 20;
constexpr std::size_t longestList = 20;

template < class Number >
std::optional< Number > numberOf( std::string const & text, Number most ) {
   std::uint64_t number{};
   auto const [end, error] = std::from_chars( text.data(), text.data() + text.size(), number );
   bool const whole = error == std::errc{} && end == text.data() + text.size();
   return whole && number <= most ? std::optional( static_cast< Number >( number ) ) : std::nullopt;
}

std::size_t sizeOf( Request const & request, char const * name, std::size_t otherwise ) {
   return numberOf( request.of( name ), std::numeric_limits< std::size_t >::max() )
      .value_or( otherwise );
}

/** A frame's part that was given and is no such number is told by its name. */
template < class Number >
void readNumber( std::optional< Number > & into, Request const & request, char const * name,
                 Number most, std::string & wrong ) {
   std::string const text = request.of( name );
   into = text.empty() ? std::nullopt : numberOf( text, most );
   if ( !text.empty() && !into && wrong.empty() ) {
      wrong = std::string( name ) + ": wants a number up to " + std::to_string( most );
   }
}

void check( std::string const & name, std::string const & words, std::string & wrong ) {
   if ( wrong.empty() && !words.empty() ) {
      wrong = name + ": " + words;
   }
}

/** The frame that is asked for; `wrong` says what is no part of one. */
Views::FrameTexts frameOf( Request const & request, std::string & wrong ) {
   Views::FrameTexts texts{ .in = request.of( "in" ),
                            .from = request.of( "from" ),
                            .to = request.of( "to" ),
                            .vlan = {},
                            .vni = {},
                            .etherType = request.of( "ether_type" ),
                            .ipFrom = request.of( "ip_from" ),
                            .ipTo = request.of( "ip_to" ),
                            .protocol = {},
                            .fromPort = {},
                            .toPort = {} };
   check( "in", texts.in.empty() ? "wants a port" : "", wrong );
   check( "from", Views::checkMac( texts.from ), wrong );
   check( "to", Views::checkMac( texts.to ), wrong );
   readNumber< std::uint16_t >( texts.vlan, request, "vlan", 4094, wrong );
   readNumber< std::uint32_t >( texts.vni, request, "vni", 0xffffff, wrong );
   check( "ether_type", texts.etherType.empty() ? "" : Views::checkEtherType( texts.etherType ),
          wrong );
   check( "ip_from", texts.ipFrom.empty() ? "" : Views::checkIp( texts.ipFrom ), wrong );
   check( "ip_to", texts.ipTo.empty() ? "" : Views::checkIp( texts.ipTo ), wrong );
   check( "ip_to",
          texts.ipFrom.empty() != texts.ipTo.empty() ? "sender and receiver go together" : "",
          wrong );
   readNumber< std::uint8_t >( texts.protocol, request, "protocol", 255, wrong );
   readNumber< std::uint16_t >( texts.fromPort, request, "from_port", 65535, wrong );
   readNumber< std::uint16_t >( texts.toPort, request, "to_port", 65535, wrong );
   return texts;
}

/** Of a long list its first elements, and how many more there are. */
void shorten( Value & value ) {
   auto * const list = value.as< Value::Array >();
   if ( list && list->size() > longestList ) {
      std::size_t const more = list->size() - longestList;
      list->resize( longestList );
      list->emplace_back( Value::Object{ { "more", std::uint64_t{ more } } } );
   }
}

}  // namespace

Answer Site::answer( Request const & request ) {
   if ( auto refusal = guard_.refusal( request ) ) {
      return *refusal;
   }
   if ( PageFile const * const file = pageFileAt( request.path ) ) {
      return { .type = std::string( file->type ), .body = std::string( file->text ) };
   }
   if ( request.path == "/events" ) {
      return stream();
   }
   if ( request.path == "/metrics" ) {
      return metrics();
   }
   constexpr std::string_view api = "/api/";
   if ( !request.path.starts_with( api ) ) {
      return errorAnswer( 404, "nothing stands there" );
   }
   if ( knownAt_ != events_.told() || known_.size() == mostKnown ) {
      known_.clear();
      knownAt_ = events_.told();
   }
   std::pair const asked( request.path, request.query );
   if ( auto const known = known_.find( asked ); known != known_.end() ) {
      return known->second;
   }
   Orb::Seconds const began = em_.scheduler().now();
   Answer answer = view( request.path.substr( api.size() ), request );
   if ( changes_ ) {
      changes_->answered( em_.scheduler().now() - began );
      known_.emplace( asked, answer );
   }
   return answer;
}

Answer Site::view( std::string const & name, Request const & request ) const {
   if ( name == "picture" ) {
      return picture( request );
   }
   if ( name == "chain" ) {
      return chains( request );
   }
   if ( name == "frame" ) {
      return frame( request );
   }
   if ( name == "changes" ) {
      return last();
   }
   if ( name == "processes" ) {
      return processes();
   }
   return table( name, request );
}

Answer Site::picture( Request const & request ) const {
   PictureLimits limits;
   limits.firstFragment = sizeOf( request, "first", 0 );
   Value::Object value = pictureOf( em_, limits );
   value.emplace_back( "switch", switchName_ );
   value.emplace_back( "situation", situationValue() );
   value.emplace_back( "counts", countsOf( em_ ) );
   return jsonAnswer( value );
}

Answer Site::table( std::string const & name, Request const & request ) const {
   std::vector< std::string > const names = Views::tableNames();
   if ( std::ranges::find( names, name ) == names.end() ) {
      return errorAnswer( 404, "there is no such table" );
   }
   Views::Choice choice;
   choice.text = request.of( "search" );
   choice.state = request.of( "state" );
   choice.first = sizeOf( request, "first", 0 );
   choice.most = std::min( sizeOf( request, "most", usualPage ), longestPage );
   Views::TextTable const table = Views::tableOf( name, em_, choice );
   Value::Array rows = table.values();
   for ( Value & row : rows ) {
      for ( auto & [member, value] : *row.as< Value::Object >() ) {
         shorten( value );
      }
   }
   return jsonAnswer( Value::Object{ { "table", name },
                                     { "first", std::uint64_t{ choice.first } },
                                     { "found", std::uint64_t{ table.found() } },
                                     { "rows", std::move( rows ) } } );
}

Answer Site::chains( Request const & request ) const {
   std::string const wanted = request.of( "flow" );
   Value::Array chains;
   std::uint64_t found = 0;
   for ( Views::FlowPlace const & flow : Views::flowsNamed( em_, wanted ) ) {
      if ( ++found <= mostChains ) {
         chains.emplace_back( Views::chainValue( flow, Views::chainOf( em_, flow ) ) );
      }
   }
   return chains.empty()
             ? errorAnswer( 404, "there is no such flow" )
             : jsonAnswer( Value::Object{ { "chains", std::move( chains ) }, { "found", found } } );
}

Answer Site::frame( Request const & request ) const {
   std::string wrong;
   Views::FrameTexts const texts = frameOf( request, wrong );
   if ( !wrong.empty() ) {
      return errorAnswer( 400, wrong );
   }
   Views::Frame const frame = Views::frameOf( texts );
   wrong = Views::whyNone( frame, Views::Ports( em_ ) );
   return wrong.empty() ? jsonAnswer( Views::followFrame( em_, frame ).members() )
                        : errorAnswer( 400, wrong );
}

Answer Site::last() const {
   return jsonAnswer(
      Value::Object{ { "changes", changes_ ? changes_->last() : Value::Array() } } );
}

Value::Object Site::situationValue() const {
   return { { "switch", switchName_ },
            { "there", situation_.isThere },
            { "words", situation_.words },
            { "read", changes_.has_value() } };
}

Answer Site::processes() const {
   Value::Array processes;
   for ( ProcessWords const & process : situation_.processes ) {
      Value::Object fields;
      for ( auto const & [name, text] : process.fields ) {
         fields.emplace_back( name, text );
      }
      processes.emplace_back(
         Value::Object{ { "role", process.role },
                        { "holder", process.holder.empty() ? Value() : Value( process.holder ) },
                        { "fields", std::move( fields ) } } );
   }
   Value::Array skipped;
   for ( auto const & [path, reason] : situation_.skipped ) {
      if ( skipped.size() == longestPage ) {
         break;
      }
      skipped.emplace_back( Value::Object{ { "path", path }, { "reason", reason } } );
   }
   return jsonAnswer( Value::Object{
      { "situation", situationValue() },
      { "processes", std::move( processes ) },
      { "skipped", std::move( skipped ) },
      { "skipped_count", std::uint64_t{ situation_.skipped.size() + situation_.furtherSkipped } },
      { "reconnects", situation_.reconnects } } );
}

Answer Site::metrics() const {
   return {
      .type = "text/plain; version=0.0.4; charset=utf-8",
      .body = metricsText( switchName_, changes_ ? std::optional( Counts( em_ ) ) : std::nullopt,
                           situation_, server_ ? server_() : ServerCounts(),
                           changes_ ? changes_->counts() : Changes::Counted() ) };
}

Answer Site::stream() const {
   return { .type = "text/event-stream",
            .body = eventText( "situation", situationValue() ),
            .isStream = true };
}

void Site::follow() {
   changes_.emplace( em_, events_ );
   events_.tell( "situation", situationValue() );
}

void Site::situationIs( Situation situation ) {
   if ( situation == situation_ ) {
      return;
   }
   bool const other =
      situation.isThere != situation_.isThere || situation.words != situation_.words;
   situation_ = std::move( situation );
   if ( other ) {
      events_.tell( "situation", situationValue() );
   }
   events_.tell( "processes", Value::Object() );
}

}  // namespace Web
