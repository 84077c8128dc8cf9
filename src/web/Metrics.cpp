#include "web/Metrics.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <sstream>
#include <vector>

#include "platform/corestore/ValueText.h"

namespace Web {

namespace {

using Labels = std::initializer_list< std::pair< char const *, std::string_view > >;

class Text {
 public:
   explicit Text( std::string const & switchName )
      : switch_( "switch=\"" + labelText( switchName ) + "\"" ) {}

   void head( char const * name, char const * type, char const * help ) {
      name_ = name;
      text_ +=
         std::string( "# HELP " ) + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
   }
   void row( std::string_view value, Labels labels = {}, char const * suffix = "" ) {
      text_ += name_ + suffix + "{" + switch_;
      for ( auto const & [label, words] : labels ) {
         text_ += std::string( "," ) + label + "=\"" + labelText( words ) + "\"";
      }
      text_ += "} " + std::string( value ) + "\n";
   }
   void row( std::uint64_t value, Labels labels = {} ) { row( std::to_string( value ), labels ); }

   std::string take() { return std::move( text_ ); }

 private:
   std::string switch_;
   std::string name_;
   std::string text_;
};

/** What a process says of itself may be any text. */
std::optional< double > numberIn( std::string const & text ) {
   char * end = nullptr;
   double const number = std::strtod( text.c_str(), &end );
   bool const isOne = !text.empty() && *end == '\0' && std::isfinite( number ) &&
                      text.find_first_not_of( "0123456789.e+-" ) == text.npos;
   return isOne ? std::optional( number ) : std::nullopt;
}

struct Field {
   char const * field;
   char const * metric;
   char const * type;
   char const * help;
};

constexpr Field fields[] = {
   { "started", "qorclient_process_start_time_seconds", "gauge", "When the process began." },
   { "changed", "qorclient_process_last_change_time_seconds", "gauge",
     "When the process last said something new of itself." },
   { "turns", "qorclient_turns_total", "counter", "Turns of the process's scheduler." },
   { "longestTurn", "qorclient_longest_turn_seconds", "gauge",
     "The longest turn since the process began." },
   { "queue", "qorclient_queue", "gauge", "Work that waits for its turn." },
   { "written", "qorclient_rows_written_total", "counter", "Rows written to the engine." },
   { "sentAgain", "qorclient_rows_sent_again_total", "counter",
     "Rows written once more after a lost connection." },
   { "skipped", "qorclient_rows_skipped", "gauge", "Rows that do not fit and are left out." },
   { "reconnects", "qorclient_reconnects_total", "counter",
     "How often the engine was lost and found again." } };

std::string fieldOf( ProcessWords const & process, char const * name ) {
   auto const found = process.fields.find( name );
   return found == process.fields.end() ? std::string() : found->second;
}

/** "0.001:17,0.01:18", seconds and how many turns were no longer; nothing for any other text. */
using Steps = std::vector< std::pair< std::string, std::string > >;
Steps stepsIn( std::string const & text ) {
   Steps steps;
   std::istringstream in( text );
   double before = 0;
   double countBefore = 0;
   for ( std::string step; std::getline( in, step, ',' ); ) {
      std::size_t const colon = std::min( step.find( ':' ), step.size() - 1 );
      std::string const length = step.substr( 0, colon );
      std::string const count = step.substr( colon + 1 );
      auto const lasts = numberIn( length );
      auto const turns = numberIn( count );
      if ( !lasts || !turns || *lasts <= before || *turns < countBefore ) {
         return {};
      }
      before = *lasts;
      countBefore = *turns;
      steps.emplace_back( length, count );
   }
   return steps;
}

/** How long turns last, as Prometheus has distributions. */
void addTurns( Text & text, std::vector< ProcessWords > const & processes ) {
   text.head( "qorclient_turn_seconds", "histogram", "How long turns of the process last." );
   for ( ProcessWords const & process : processes ) {
      Steps const steps = stepsIn( fieldOf( process, "turnLengths" ) );
      std::string const count = fieldOf( process, "turns" );
      std::string const sum = fieldOf( process, "turnSeconds" );
      if ( steps.empty() || !numberIn( count ) || !numberIn( sum ) ) {
         continue;
      }
      for ( auto const & [length, upTo] : steps ) {
         text.row( upTo, { { "role", process.role }, { "le", length } }, "_bucket" );
      }
      text.row( count, { { "role", process.role }, { "le", "+Inf" } }, "_bucket" );
      text.row( sum, { { "role", process.role } }, "_sum" );
      text.row( count, { { "role", process.role } }, "_count" );
   }
}

void addCounts( Text & text, Counts const & counts ) {
   text.head( "qorclient_active", "gauge", "Whether the agent acts on the policy." );
   text.row( counts.active ? 1 : 0 );
   text.head( "qorclient_flows", "gauge", "Flows by state." );
   // A state without flows is told, too, so that an alert sees it come.
   auto flows = counts.flows;
   for ( char const * state : { "initial", "waiting", "programmed", "rejected", "not reported" } ) {
      flows[state];
   }
   for ( auto const & [state, count] : flows ) {
      text.row( count, { { "kind", "policy" }, { "state", state } } );
   }
   for ( auto const & [state, count] : counts.routedFlows ) {
      text.row( count, { { "kind", "routed" }, { "state", state } } );
   }
   text.head( "qorclient_rules", "gauge", "Rules in the flow tables." );
   text.row( counts.rules, { { "kind", "policy" } } );
   text.row( counts.routedRules, { { "kind", "routed" } } );
   text.head( "qorclient_rules_refused", "gauge",
              "Rules, groups and end points that the hardware refuses, by reason." );
   for ( auto const & [reason, count] : counts.refused ) {
      text.row( count, { { "reason", reason } } );
   }
   text.head( "qorclient_hosts", "gauge", "Hosts that flows intercept." );
   text.row( counts.hostsKnown, { { "state", "known" } } );
   text.row( counts.hostsWaiting, { { "state", "waiting" } } );
   text.head( "qorclient_vnis_waiting", "gauge", "VNIs that are needed and have no VLAN." );
   text.row( counts.vnisWaiting );
}

}  // namespace

std::string labelText( std::string_view text ) {
   // One that is no UTF-8 would have Prometheus refuse all the rest, too; JSON has replaced it.
   Kel::Value const whole =
      Corestore::parseJson( Corestore::jsonLine( Kel::Value( std::string( text ) ) ) );
   std::string escaped;
   for ( char const c : *whole.as< std::string >() ) {
      if ( c == '\\' || c == '"' ) {
         escaped += '\\';
         escaped += c;
      } else if ( c == '\n' ) {
         escaped += "\\n";
      } else {
         escaped += static_cast< unsigned char >( c ) < 0x20 ? '?' : c;
      }
   }
   return escaped;
}

std::string metricsText( std::string const & switchName, std::optional< Counts > const & counts,
                         Situation const & situation, ServerCounts const & server,
                         Changes::Counted const & changes ) {
   Text text( switchName );
   text.head( "qorclient_state_followed", "gauge",
              "Whether the state is followed; otherwise what is told here is how it stood last." );
   text.row( situation.isThere ? 1 : 0 );
   if ( counts ) {
      addCounts( text, *counts );
   }
   text.head( "qorclient_lease_held", "gauge", "Whether a process holds the lease of its role." );
   for ( ProcessWords const & process : situation.processes ) {
      text.row( process.holder.empty() ? 0 : 1, { { "role", process.role } } );
   }
   for ( Field const & field : fields ) {
      text.head( field.metric, field.type, field.help );
      for ( ProcessWords const & process : situation.processes ) {
         if ( std::string const told = fieldOf( process, field.field ); numberIn( told ) ) {
            text.row( told, { { "role", process.role } } );
         }
      }
   }
   addTurns( text, situation.processes );
   text.head( "qorclient_web_reconnects_total", "counter",
              "How often this page's server has lost the engine and found it again." );
   text.row( situation.reconnects );
   text.head( "qorclient_web_rows_skipped", "gauge", "Rows that do not fit, as this server sees." );
   text.row( situation.skipped.size() + situation.furtherSkipped );
   text.head( "qorclient_changes_total", "counter", "Changes of the state, by what they concern." );
   for ( auto const & [kind, count] : changes ) {
      text.row( count, { { "kind", kind } } );
   }
   text.head( "qorclient_web_connections", "gauge", "Connections to this server." );
   text.row( server.connections );
   text.head( "qorclient_web_pages", "gauge", "Pages that are open." );
   text.row( server.streams );
   return text.take();
}

}  // namespace Web
