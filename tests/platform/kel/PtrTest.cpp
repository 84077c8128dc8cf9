#include <gtest/gtest.h>

#include <thread>

#include "Sample.h"

namespace {

using Sample::Box;

TEST( PtrTest, FlagsAndCountsOfThreadsDoNotLoseEachOther ) {
   Kel::VFPtrInterface::threadSafePointers_ = true;
   Kel::Ptr< Box > const box = Sample::newBox();
   constexpr int rounds = 200000;
   std::thread counting( [box] {
      for ( int i = 0; i != rounds; ++i ) {
         Kel::Ptr< Box > const more = box;
      }
   } );
   for ( int i = 0; i != rounds; ++i ) {
      box->kelMarkedForDeletionIs( i % 2 == 0 );
   }
   counting.join();
   Kel::VFPtrInterface::threadSafePointers_ = false;
   EXPECT_EQ( box->references(), 1u );
   EXPECT_FALSE( box->kelMarkedForDeletion() );
}

}  // namespace
