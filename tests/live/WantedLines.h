#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/kel/Value.h"

namespace Live {

/** A flow as the switch's own tool prints it, without its cookie and with what it matches in order
 *  of the letters. */
std::string orderedFlow( std::string const & line );

/** The bridge as its own tools tell it. */
struct BridgeState {
   /** The ports by name, the tunnel's among them. */
   std::map< std::string, int > numbers;
   /** The most flows of a table, where it has such a limit. */
   std::map< int, std::size_t > limits;
   /** All flows, ordered as above. */
   std::vector< std::string > flows;
};

/** What a flow table, as the state has it, asks of a bridge: worked out from text to text, beside
 *  the code of the programs. */
class WantedLines {
 public:
   WantedLines( Kel::Value const & state, BridgeState const & bridge );

   /** What the bridge does not have, what it has and nothing asks for, and answers to rules that
    * are not as the bridge is; a line each. Empty when both agree. */
   std::string disagreements() const;
   /** Whether rules of one rank that do different things match one frame that comes in there, or
    *  leaves somewhere: which of them counts is the bridge's choice. */
   bool isOpen( std::string const & port ) const;
   /** How many rules have which answer. */
   std::map< std::uint64_t, int > answers() const;

 private:
   struct Rule {
      int table = 0;
      std::optional< std::uint64_t > status;
      bool lacksPort = false;
      std::vector< std::string > flows;
   };
   void addRule( std::string const & name, Kel::Value const & entry );
   void addOffered( std::string const & key, Kel::Value const & row );
   void addRemote( std::string const & vni, std::string const & mac, std::string const & vtep );
   void addLearnt( std::string const & key, Kel::Value const & row );
   /** The number by which a rule has to be answered; 1 if it has to stand. */
   std::uint64_t answerTo( Rule const & rule ) const;

   Kel::Value const & state_;
   BridgeState const & bridge_;
   std::map< std::string, Rule > rules_;
   /** Those of hosts. */
   std::vector< std::string > flows_;
};

}  // namespace Live
