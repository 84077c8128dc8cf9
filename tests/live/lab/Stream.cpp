#include "live/lab/Stream.h"

#include <algorithm>
#include <atomic>

#include "live/Process.h"

namespace Lab {

namespace {

std::uint32_t newStream() {
   static std::atomic< std::uint32_t > streams{ 0 };
   return ++streams;
}

}  // namespace

Stream::Stream( Loop & loop, Station & from, Station & to, Frame frame, double perSecond,
                std::optional< std::uint32_t > count )
   : loop_( loop ),
     from_( from ),
     to_( to ),
     frame_( std::move( frame ) ),
     stream_( newStream() ),
     every_( std::chrono::duration_cast< Clock::duration >(
        std::chrono::duration< double >( 1 / perSecond ) ) ),
     count_( count ) {
   {
      auto const held = loop_.lock();
      to_.streams_[this] = [this]( Frame const & received ) { return arrived( received ); };
      from_.streams_[this] = [this]( Frame const & received ) { return answered( received ); };
   }
   loop_.play( *this );
}

Stream::~Stream() {
   loop_.leave( static_cast< Timed * >( this ) );
   auto const held = loop_.lock();
   to_.streams_.erase( this );
   from_.streams_.erase( this );
}

std::optional< Clock::time_point > Stream::next() const {
   if ( packets_.size() == count_ ) {
      return std::nullopt;
   }
   return due_;
}

void Stream::work() {
   frame_.markIs(
      { .stream = stream_, .number = static_cast< std::uint32_t >( packets_.size() ) } );
   auto const now = Clock::now();
   packets_.push_back( { .sent = now } );
   // What was missed while the machine held this up is not sent in one burst, which would fill the
   // queues on its way.
   due_ = std::max( due_ + every_, now - 5 * every_ );
   from_.put( frame_ );
}

Stream::Packet * Stream::packetOf( std::optional< Mark > const & mark, bool isAnswer ) {
   bool const isMine = mark && mark->stream == stream_ && mark->isAnswer == isAnswer &&
                       mark->number < packets_.size();
   return isMine ? &packets_[mark->number] : nullptr;
}

bool Stream::arrived( Frame const & frame ) {
   auto mark = frame.mark();
   Packet * const packet = packetOf( mark, false );
   if ( !packet ) {
      return false;
   }
   ++packet->arrived;
   packet->arrivedPast += !mark->passedThere;
   Frame answer = frame.answer();
   // What was sent to all is answered by this one.
   answer.from = to_.mac();
   mark->isAnswer = true;
   answer.markIs( *mark );
   to_.put( answer );
   return true;
}

bool Stream::answered( Frame const & frame ) {
   auto const mark = frame.mark();
   Packet * const packet = packetOf( mark, true );
   if ( !packet ) {
      return false;
   }
   ++packet->answered;
   packet->answeredPast += !mark->passedBack;
   return true;
}

Stream::Summary Stream::sum( Clock::time_point from, Clock::time_point until ) {
   auto const held = loop_.lock();
   Summary sum;
   for ( Packet const & packet : packets_ ) {
      if ( packet.sent >= from && packet.sent < until ) {
         ++sum.sent;
         sum.lost += packet.answered == 0;
         sum.duplicated += packet.arrived > 1 || packet.answered > 1;
         sum.past += packet.arrivedPast != 0 || packet.answeredPast != 0;
      }
   }
   return sum;
}

Clock::time_point Stream::rightSince( Clock::time_point until ) {
   auto const held = loop_.lock();
   for ( auto packet = packets_.rbegin(); packet != packets_.rend(); ++packet ) {
      if ( packet->sent < until && packet->answered == 0 ) {
         return until;
      }
      until = std::min( until, packet->sent );
   }
   return until;
}

Stream::Summary Stream::end( double seconds ) {
   if ( count_ ) {
      Live::eventually( [this] {
         auto const held = loop_.lock();
         return !next();
      } );
   } else {
      auto const held = loop_.lock();
      count_ = static_cast< std::uint32_t >( packets_.size() );
   }
   Live::eventually( [this] { return sum().lost == 0; }, seconds );
   return sum();
}

std::vector< Stream::Packet > Stream::packets() {
   auto const held = loop_.lock();
   return packets_;
}

}  // namespace Lab
