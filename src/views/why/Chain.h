#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "platform/kel/Value.h"
#include "views/tables/Places.h"

namespace Views {

/**
 * What was found on the way of one flow from policy to hardware, link by link, in the order in
 * which the agent needs them. The words of a link that lacks something stand on their own: the
 * first such link is the reason that the summary gives. Where an input is what is missing, the
 * link has its path.
 */
class Chain {
 public:
   /** The flow as a person names it, and what kind it is of. */
   Chain( std::string flow, std::string kind )
      : flow_( std::move( flow ) ), kind_( std::move( kind ) ) {}

   /** The link holds. */
   void good( char const * name, std::string words ) { add( name, Finding::ok, words ); }
   /** Something is missing that may still come. */
   void missing( char const * name, std::string words, char const * path = nullptr ) {
      add( name, Finding::missing, words, path );
   }
   void missing( char const * name, Reason reason ) {
      add( name, Finding::missing, reason.words, reason.path );
   }
   /** As `missing`, for what the hardware is at work on: no refusal of another rule is the last
    * word then. */
   void underWay( char const * name, std::string words, char const * path ) {
      add( name, Finding::underWay, words, path );
   }
   /** Someone has refused, and it stays so until the policy changes. */
   void rejected( char const * name, std::string words ) { add( name, Finding::rejected, words ); }
   /** As `missing`, but no rejection waits for it: one that comes later goes before it. */
   void lacking( char const * name, std::string words, char const * path = nullptr ) {
      add( name, Finding::lacking, words, path );
   }
   void lacking( char const * name, Reason reason ) {
      add( name, Finding::lacking, reason.words, reason.path );
   }
   /** Worth knowing; the flow doesn't depend on it. */
   void note( char const * name, std::string words ) { add( name, Finding::note, words ); }
   /** Whether no link so far lacks anything. */
   bool holds() const;
   /** The hardware has a rule of the flow: what is missing concerns other rules or the traffic. */
   void inHardware() { inHardware_ = true; }

   /** "programmed", "programmed, but ...", "waiting: ..." or "rejected: ...", without a path. */
   std::string summary() const;
   /** The flow, a line a link, the summary; behind what is missing the path of the input. */
   void print( std::ostream & out ) const;
   /** The same for programs. */
   Kel::Value::Object members() const;

 private:
   enum class Finding { ok, missing, underWay, rejected, lacking, note };
   struct Link {
      char const * name;
      Finding finding;
      std::string words;
      char const * path;
   };

   static bool isGood( Link const & link ) {
      return link.finding == Finding::ok || link.finding == Finding::note;
   }
   static char const * word( Finding finding );
   void add( char const * name, Finding finding, std::string & words, char const * path = nullptr );
   /** The link that the summary gives; null when all hold. */
   Link const * reason() const;

   std::string flow_;
   std::string kind_;
   std::vector< Link > links_;
   bool inHardware_ = false;
};

}  // namespace Views
