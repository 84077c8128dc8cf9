#include "switch/openflow/Program.h"

#include <algorithm>

#include "switch/openflow/Bytes.h"

namespace OpenFlow {

namespace {

/** Of a flow that is longer than a message can be: what the switch would say, could it be sent. */
constexpr Error tooLong{ 2, 1, 0 };

}  // namespace

void Program::begin( Outgoing & out ) {
   if ( changes_.size() > 1 ) {
      sendBundle( out );
   } else {
      sendPlain( out );
   }
}

void Program::sendBundle( Outgoing & out ) {
   isBundle_ = true;
   std::uint32_t const bundle = out.nextXid();
   out.put( bundleControlMessage( bundle, bundle, BundleControl::open ) );
   firstXid_ = bundle + 1;
   for ( std::size_t i = 0; i != changes_.size(); ++i ) {
      if ( auto const message = bundledFlowModMessage( out.nextXid(), bundle, changes_[i] ) ) {
         out.put( *message );
      } else {
         refused( i, tooLong );
      }
   }
   out.put( bundleControlMessage( out.nextXid(), bundle, BundleControl::commit ) );
   sendBarrier( out );
}

void Program::sendPlain( Outgoing & out ) {
   isBundle_ = false;
   refusals_.clear();
   for ( std::size_t i = 0; i != changes_.size(); ++i ) {
      std::uint32_t const xid = out.nextXid();
      firstXid_ = i == 0 ? xid : firstXid_;
      if ( auto const message = flowModMessage( xid, changes_[i] ) ) {
         out.put( *message );
      } else {
         refused( i, tooLong );
      }
   }
   sendBarrier( out );
}

void Program::sendBarrier( Outgoing & out ) {
   barrierXid_ = out.nextXid();
   out.put( barrierMessage( barrierXid_ ) );
}

bool Program::take( Message const & message, Outgoing & out ) {
   switch ( message.type ) {
      case MessageType::error:
         takeError( message );
         return false;
      case MessageType::bundleControl:
         isCommitted_ = isCommitted_ || bundleControlIn( message ) == BundleControl::committed;
         return false;
      case MessageType::barrierReply:
         // Of the bundle, once that was followed by the changes one by one.
         if ( message.xid != barrierXid_ ) {
            return false;
         }
         if ( isBundle_ && !isCommitted_ ) {
            sendPlain( out );
            return false;
         }
         return true;
      default:
         throw DecodeError( "no answer to what was asked" );
   }
}

void Program::takeError( Message const & message ) {
   std::uint32_t const index = message.xid - firstXid_;
   // Others concern the bundle, which then isn't committed.
   if ( message.xid >= firstXid_ && index < changes_.size() ) {
      refused( index, errorIn( message ) );
   }
}

void Program::refused( std::size_t index, Error const & error ) {
   // A message may be refused as it comes and once more when the bundle is committed.
   if ( std::ranges::find( refusals_, index, &Refusal::index ) == refusals_.end() ) {
      refusals_.push_back( { index, error } );
   }
}

void Program::end() {
   std::ranges::sort( refusals_, {}, &Refusal::index );
   done_( std::move( refusals_ ) );
}

}  // namespace OpenFlow
