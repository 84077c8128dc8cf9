#include "switch/openflow/Program.h"

#include <algorithm>

#include "switch/openflow/Bytes.h"

namespace OpenFlow {

namespace {

/** Of a flow that is longer than a message can be: what the switch would say, could it be sent. */
constexpr Error tooLong{ 2, 1, 0 };

}  // namespace

void Program::begin( Outgoing & out ) {
   isWhole_ = changes_.size() > 1;
   if ( isWhole_ ) {
      sendAll( out );
   } else {
      sendPieces( out );
   }
}

void Program::sendAll( Outgoing & out ) {
   refusals_.clear();
   changeOf_.clear();
   sendBundle( out, 0, changes_.size() );
   sendBarrier( out );
}

void Program::sendPieces( Outgoing & out ) {
   isWhole_ = false;
   refusals_.clear();
   changeOf_.clear();
   for ( std::size_t first = 0; first != changes_.size(); ) {
      std::size_t last = first + 1;
      while ( last != changes_.size() && changes_[last].isJoined ) {
         ++last;
      }
      if ( last - first > 1 ) {
         sendBundle( out, first, last );
      } else {
         sendPlain( out, first );
      }
      first = last;
   }
   sendBarrier( out );
}

void Program::sendBundle( Outgoing & out, std::size_t first, std::size_t last ) {
   std::uint32_t const bundle = xidFor( out, first );
   out.put( bundleControlMessage( bundle, bundle, BundleControl::open ) );
   bool isWhole = true;
   for ( std::size_t i = first; i != last; ++i ) {
      if ( auto const message = bundledFlowModMessage( xidFor( out, i ), bundle, changes_[i] ) ) {
         out.put( *message );
      } else {
         refused( i, tooLong );
         isWhole = false;
      }
   }
   // Of several that are joined none is made without the others.
   auto const end = isWhole || isWhole_ ? BundleControl::commit : BundleControl::discard;
   out.put( bundleControlMessage( xidFor( out, last - 1 ), bundle, end ) );
}

void Program::sendPlain( Outgoing & out, std::size_t index ) {
   if ( auto const message = flowModMessage( xidFor( out, index ), changes_[index] ) ) {
      out.put( *message );
   } else {
      refused( index, tooLong );
   }
}

std::uint32_t Program::xidFor( Outgoing & out, std::size_t index ) {
   std::uint32_t const xid = out.nextXid();
   firstXid_ = changeOf_.empty() ? xid : firstXid_;
   changeOf_.push_back( static_cast< std::uint32_t >( index ) );
   return xid;
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
         if ( isWhole_ && !isCommitted_ ) {
            sendPieces( out );
            return false;
         }
         return true;
      default:
         throw DecodeError( "no answer to what was asked" );
   }
}

void Program::takeError( Message const & message ) {
   if ( std::size_t const at = message.xid - firstXid_;
        message.xid >= firstXid_ && at < changeOf_.size() ) {
      refused( changeOf_[at], errorIn( message ) );
   }
}

void Program::refused( std::size_t index, Error const & error ) {
   // One may be refused as it comes and once more with its bundle; and of those that are joined the
   // first one that fails is told.
   auto const told = [&]( Refusal const & refusal ) {
      return isWhole_ ? refusal.index == index
                      : firstJoined( refusal.index ) == firstJoined( index );
   };
   if ( std::ranges::none_of( refusals_, told ) ) {
      refusals_.push_back( { index, error, changes_[index].flow.table } );
   }
}

std::size_t Program::firstJoined( std::size_t index ) const {
   while ( index != 0 && changes_[index].isJoined ) {
      --index;
   }
   return index;
}

void Program::end() {
   std::ranges::sort( refusals_, {}, &Refusal::index );
   done_( std::move( refusals_ ) );
}

}  // namespace OpenFlow
