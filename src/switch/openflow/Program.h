#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "switch/openflow/Request.h"

namespace OpenFlow {

/** Changes of flows, as one bundle; when that is refused, those that are joined to each other as a
 *  bundle each, and the others one by one. */
class Program final : public Request {
 public:
   using Done = std::function< void( std::vector< Refusal > ) >;
   Program( std::vector< FlowChange > changes, Done done )
      : changes_( std::move( changes ) ), done_( std::move( done ) ) {}

   void begin( Outgoing & out ) override;
   bool take( Message const & message, Outgoing & out ) override;
   void end() override;

 private:
   void sendAll( Outgoing & out );
   void sendPieces( Outgoing & out );
   void sendBundle( Outgoing & out, std::size_t first, std::size_t last );
   void sendPlain( Outgoing & out, std::size_t index );
   void sendBarrier( Outgoing & out );
   /** A number for a message that is about this change. */
   std::uint32_t xidFor( Outgoing & out, std::size_t index );
   void takeError( Message const & message );
   void refused( std::size_t index, Error const & error );
   /** Of those that a change is joined to. */
   std::size_t firstJoined( std::size_t index ) const;

   std::vector< FlowChange > changes_;
   Done done_;
   std::vector< Refusal > refusals_;
   /** Which change each message is about, from the first one on. */
   std::vector< std::uint32_t > changeOf_;
   std::uint32_t firstXid_ = 0;
   std::uint32_t barrierXid_ = 0;
   /** All goes in one bundle. */
   bool isWhole_ = false;
   bool isCommitted_ = false;
};

}  // namespace OpenFlow
