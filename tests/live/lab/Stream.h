#pragma once

#include <ostream>
#include <vector>

#include "live/lab/Devices.h"

namespace Lab {

/** So many frames a second, or fewer on a machine that doesn't come to it, from one station to
 *  another, which answers each. Every one of them is followed. */
class Stream : private Timed {
 public:
   struct Packet {
      Clock::time_point sent;
      /** How often it has come to the other station, and how often past the service. */
      std::uint32_t arrived = 0;
      std::uint32_t arrivedPast = 0;
      /** The same of its answer. */
      std::uint32_t answered = 0;
      std::uint32_t answeredPast = 0;
   };
   struct Summary {
      std::uint64_t sent = 0;
      /** Without an answer. */
      std::uint64_t lost = 0;
      /** Came more than once, there or back. */
      std::uint64_t duplicated = 0;
      /** Came without having passed the service, there or back. */
      std::uint64_t past = 0;

      friend bool operator==( Summary const &, Summary const & ) = default;
      friend std::ostream & operator<<( std::ostream & out, Summary const & sum ) {
         return out << sum.sent << " sent, " << sum.lost << " lost, " << sum.duplicated
                    << " twice, " << sum.past << " past the service";
      }
   };

   /** `frame` is sent again and again, `count` times or without end. */
   Stream( Loop & loop, Station & from, Station & to, Frame frame, double perSecond,
           std::optional< std::uint32_t > count = {} );
   ~Stream() override;
   Stream( Stream const & ) = delete;
   Stream & operator=( Stream const & ) = delete;

   /** Sums up what was sent within a time; the last packets may still be on their way. */
   Summary sum( Clock::time_point from = {}, Clock::time_point until = Clock::time_point::max() );
   /** When the first packet was sent from which on none is lost, of those sent before `until`. */
   Clock::time_point rightSince( Clock::time_point until );
   /** Ends it, waits until all is answered, or no longer than told, and sums up. */
   Summary end( double seconds = 5 );
   std::vector< Packet > packets();

 private:
   std::optional< Clock::time_point > next() const override;
   void work() override;
   bool arrived( Frame const & frame );
   bool answered( Frame const & frame );
   /** The packet of a frame of this stream. */
   Packet * packetOf( std::optional< Mark > const & mark, bool isAnswer );

   Loop & loop_;
   Station & from_;
   Station & to_;
   Frame frame_;
   std::uint32_t stream_;
   Clock::duration every_;
   std::optional< std::uint32_t > count_;
   /** When the next one is. */
   Clock::time_point due_ = Clock::now();
   std::vector< Packet > packets_;
};

}  // namespace Lab
