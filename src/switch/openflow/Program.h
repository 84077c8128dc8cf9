#pragma once

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "switch/openflow/Request.h"

namespace OpenFlow {

/** Changes of flows, as one bundle, and one by one when that is refused. */
class Program final : public Request {
 public:
   using Done = std::function< void( std::vector< Refusal > ) >;
   Program( std::vector< FlowChange > changes, Done done )
      : changes_( std::move( changes ) ), done_( std::move( done ) ) {}

   void begin( Outgoing & out ) override;
   bool take( Message const & message, Outgoing & out ) override;
   void end() override;

 private:
   void sendBundle( Outgoing & out );
   void sendPlain( Outgoing & out );
   void sendBarrier( Outgoing & out );
   void takeError( Message const & message );
   void refused( std::size_t index, Error const & error );

   std::vector< FlowChange > changes_;
   Done done_;
   std::vector< Refusal > refusals_;
   /** Of the first change, which the others follow. */
   std::uint32_t firstXid_ = 0;
   std::uint32_t barrierXid_ = 0;
   bool isBundle_ = false;
   bool isCommitted_ = false;
};

}  // namespace OpenFlow
