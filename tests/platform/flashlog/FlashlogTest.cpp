#include "platform/flashlog/Flashlog.h"

#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <random>

#include "TraceSupport.h"

KEL_TRACE_UNIT( "FlashlogTest", "FlashlogTestHandle" )

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

std::string bytesOf( std::string const & path ) {
   std::ifstream in( path, std::ios::binary );
   return { std::istreambuf_iterator< char >( in ), {} };
}

void write( std::string const & path, std::string const & bytes ) {
   std::ofstream( path, std::ios::binary | std::ios::trunc ) << bytes;
}

unsigned lastNumber( std::string const & line ) {
   return static_cast< unsigned >( std::stoul( line.substr( line.rfind( ' ' ) + 1 ) ) );
}

/** The numbers at the ends of the lines of one level must follow each other without a gap. */
void expectRun( std::vector< std::string > const & lines, char level, unsigned last ) {
   std::vector< unsigned > numbers;
   for ( auto const & line : lines ) {
      if ( line.front() == level ) {
         numbers.push_back( lastNumber( line ) );
      }
   }
   ASSERT_FALSE( numbers.empty() );
   for ( std::size_t i = 0; i < numbers.size(); ++i ) {
      ASSERT_EQ( numbers[i], last - ( numbers.size() - 1 - i ) );
   }
}

class FlashlogTest : public TraceFixture {
 protected:
   /** Runs `work` in a process that ends by SIGKILL, its own or ours after `microseconds`. */
   template < class Work >
   void runAndKill( Work work, useconds_t microseconds = 0 ) {
      int ready[2];
      ASSERT_EQ( ::pipe( ready ), 0 );
      pid_t const child = ::fork();
      if ( child == 0 ) {
         if ( open( "t.fl", 1 ) && ::write( ready[1], "", 1 ) == 1 ) {
            work();
         }
         ::raise( SIGKILL );
      }
      ::close( ready[1] );
      char byte;
      ASSERT_EQ( ::read( ready[0], &byte, 1 ), 1 );
      ::close( ready[0] );
      if ( microseconds ) {
         ::usleep( microseconds );
         ::kill( child, SIGKILL );
      }
      int status = 0;
      ASSERT_EQ( ::waitpid( child, &status, 0 ), child );
      ASSERT_TRUE( WIFSIGNALED( status ) && WTERMSIG( status ) == SIGKILL );
   }
};

TEST_F( FlashlogTest, WrappedRingKeepsTheLatest ) {
   ASSERT_TRUE( open( "t.fl", 1 ) );
   KEL_TRACE_ALERT( "stays ", 0u );
   for ( unsigned i = 0; i < 3000; ++i ) {
      KEL_TRACE_INFO( "text ", std::string( i * 7 % 300, '#' ), " number ", i );
      if ( i % 97 == 0 ) {
         auto const records = decoded();
         ASSERT_THAT( records.front(), HasSubstr( "stays 0" ) );
         ASSERT_GE( records.size(), 2u );
         expectRun( records, '6', i );
      }
   }
   expectRun( decoded(), '6', 2999 );
   EXPECT_THAT( std::filesystem::file_size( path() ), testing::Lt( 64u * 1024 ) );
}

TEST_F( FlashlogTest, FileCanBeReadWhileItIsWritten ) {
   pid_t const child = ::fork();
   if ( child == 0 ) {
      open( "t.fl", 1 );
      for ( unsigned i = 0;; ++i ) {
         KEL_TRACE( Kel::traceEntry, "number ", i );
      }
   }
   while ( !std::filesystem::exists( path() ) ) {
      ::usleep( 1000 );
   }
   for ( int i = 0; i < 200; ++i ) {
      auto const records = decoded();
      if ( !records.empty() ) {
         ASSERT_EQ( records.back().front(), '8' ) << records.back();
         expectRun( records, '8', lastNumber( records.back() ) );
      }
   }
   ::kill( child, SIGKILL );
   ::waitpid( child, nullptr, 0 );
}

TEST_F( FlashlogTest, KilledWriterLeavesAllFinishedRecords ) {
   runAndKill( [] {
      KEL_TRACE( Kel::traceEntry, "whole ", 1u );
      for ( unsigned i = 0; i < 100; ++i ) {
         KEL_TRACE_INFO( "number ", i );
      }
      auto & file = *Flashlog::defaultFlashlogHandle->mtTraceFile;
      static Flashlog::MsgId id = 0;
      Flashlog::MsgDesc desc( file, &id, "Unit", 3, 6 );
      desc << "torn ";
      desc.format().put( 'p' );
      desc.finish();
      auto & ring = Flashlog::RingBuf::startMsg( file, id );
      Flashlog::put( ring, std::string_view( "never seen" ) );
   } );
   auto const records = decoded();
   EXPECT_THAT( records.front(), EndsWith( "whole 1" ) );
   expectRun( records, '6', 99 );
   // Wherever the kill strikes, nothing is damaged.
   for ( useconds_t i = 0; i < 25; ++i ) {
      runAndKill(
         [] {
            for ( unsigned n = 0;; ++n ) {
               KEL_TRACE( Kel::traceEntry, "text ", std::string( n % 90, '#' ), " number ", n );
            }
         },
         200 + i * 137 );
      auto const rest = decoded();
      if ( !rest.empty() ) {
         expectRun( rest, '8', lastNumber( rest.back() ) );
      }
   }
}

TEST_F( FlashlogTest, ATraceIsKeptBesideItsSuccessorAndNothingElseIsReplaced ) {
   for ( unsigned i = 1; i <= 3; ++i ) {
      ASSERT_TRUE( open() );
      KEL_TRACE_INFO( "number ", i );
   }
   EXPECT_THAT( decoded(), ElementsAre( EndsWith( "number 3" ) ) );
   EXPECT_THAT( decoded( "t.fl.1" ), ElementsAre( EndsWith( "number 2" ) ) );
   write( path( "mine" ), "mine" );
   write( path( "u.fl.1" ), "mine" );
   ASSERT_TRUE( open( "u.fl" ) );
   for ( char const * name : { "mine", "u.fl", "." } ) {
      EXPECT_FALSE( open( name ) );
   }
   EXPECT_EQ( bytesOf( path( "mine" ) ) + bytesOf( path( "u.fl.1" ) ), "minemine" );
   EXPECT_TRUE( std::filesystem::is_directory( path( "." ) ) );
}

TEST_F( FlashlogTest, ReopeningDescribesAnew ) {
   auto const point = []( unsigned n ) { KEL_TRACE_INFO( "n ", n ); };
   open( "one.fl" );
   point( 1 );
   open( "two.fl" );
   point( 2 );
   EXPECT_THAT( decoded( "one.fl" ), ElementsAre( EndsWith( "n 1" ) ) );
   EXPECT_THAT( decoded( "two.fl" ), ElementsAre( EndsWith( "n 2" ) ) );
   // A forked process doesn't write into its parent's rings.
   pid_t const child = ::fork();
   if ( child == 0 ) {
      point( 3 );
      ::_exit( Flashlog::defaultFlashlogHandle ? 1 : 0 );
   }
   int status = 1;
   ::waitpid( child, &status, 0 );
   EXPECT_EQ( status, 0 );
   EXPECT_THAT( decoded( "two.fl" ), SizeIs( 1 ) );
}

TEST_F( FlashlogTest, NamesSizesAndFailures ) {
   Flashlog::SizeSpec sizes{};
   sizes[6] = 4;
   auto const pid = std::to_string( ::getpid() );
   auto const init = [&]( std::string const & name, char const * previous ) {
      return Flashlog::initialize( path( name ), sizes, previous, 0, 24,
                                   Flashlog::MultiThreading::singleWriter_, false, 512 );
   };
   ASSERT_TRUE( init( "a-%d.fl", nullptr ) );
   KEL_TRACE_INFO( "first" );
   KEL_TRACE_ALERT( "no ring" );
   Flashlog::flush();
   auto const previous = path( "previous.fl" );
   ASSERT_TRUE( init( "a-%d.fl", previous.c_str() ) );
   EXPECT_THAT( decoded( "previous.fl" ), ElementsAre( EndsWith( "first" ) ) );
   EXPECT_THAT( decoded( "a-" + pid + ".fl" ), IsEmpty() );

   auto const failure = [&]( std::string const & name ) {
      testing::internal::CaptureStderr();
      EXPECT_FALSE( init( name, nullptr ) );
      KEL_TRACE_INFO( "goes on" );
      EXPECT_EQ( Flashlog::defaultFlashlogHandle, nullptr );
      return testing::internal::GetCapturedStderr();
   };
   EXPECT_THAT( failure( "none/a.fl" ), HasSubstr( "none/a.fl: cannot create: No such file" ) );
   sizes[3] = 5000;
   EXPECT_THAT( failure( "b.fl" ), HasSubstr( "too large" ) );
   sizes[3] = 0;
   std::filesystem::create_directories( path( "c.fl/d" ) );
   EXPECT_THAT( failure( "c.fl" ), HasSubstr( "no regular file" ) );
   std::size_t leftOver = 0;
   for ( auto const & entry : std::filesystem::directory_iterator( directory ) ) {
      leftOver += entry.path().string().find( ".new" ) != std::string::npos;
   }
   EXPECT_EQ( leftOver, 0u );
}

TEST_F( FlashlogTest, FullDescriptorAreaLosesOnlyNewPoints ) {
   open();
   auto const known = []( unsigned n ) { KEL_TRACE_INFO( "known ", n ); };
   known( 1 );
   auto & file = *Flashlog::defaultFlashlogHandle->mtTraceFile;
   static Flashlog::MsgId ids[1200];
   for ( std::size_t i = 0; i < std::size( ids ); ++i ) {
      Flashlog::MsgDesc desc( file, &ids[i], "Unit", 1, 6 );
      desc << std::string( i < 1100 ? 9000 : 10, 'x' );  // the large ones are cut to about 4000
      desc.finish();
   }
   EXPECT_EQ( ids[0] & 15, 6u );
   EXPECT_EQ( ids[1199], Flashlog::lostMsgId );
   Kel::setTextTrace( Kel::traceInfo );
   for ( int i = 0; i < 2; ++i ) {
      KEL_TRACE_INFO( "a point with a text that finds no room any more after the last of those" );
   }
   known( 2 );
   EXPECT_THAT( lines, SizeIs( 3 ) );
   EXPECT_THAT( decoded(), ElementsAre( EndsWith( "known 1" ), EndsWith( "known 2" ),
                                        HasSubstr( "trace points found no room" ) ) );
   Flashlog::shutdown();
   EXPECT_EQ( ids[0], 0u );
   EXPECT_EQ( ids[1199], 0u );
}

TEST_F( FlashlogTest, BadFilesAreNamedAndNeverCrash ) {
   open( "t.fl", 1 );
   for ( unsigned i = 0; i < 60; ++i ) {
      KEL_TRACE( Kel::traceEntry, "text ", std::string( i, '#' ), " number ", i );
      KEL_TRACE_INFO( "short ", std::uint16_t{ 3 }, true );
   }
   Flashlog::shutdown();
   auto const good = bytesOf( path() );
   auto const whole = decoded();
   auto const errorOf = [&]( std::string const & bytes ) {
      write( path( "bad.fl" ), bytes );
      auto const result = decoded( "bad.fl" );
      EXPECT_THAT( result, testing::Not( IsEmpty() ) );
      return result.empty() ? "" : result.back();
   };
   EXPECT_EQ( decoded( "none.fl" ).back(),
              path( "none.fl" ) + ": cannot open: No such file or directory" );
   EXPECT_EQ( decoded( "." ).back(), path( "." ) + ": not a regular file" );
   for ( auto const & foreign :
         { std::string(), std::string( "QORFLAS" ), std::string( 9000, 'x' ) } ) {
      EXPECT_EQ( errorOf( foreign ), path( "bad.fl" ) + ": not a trace file" );
   }
   EXPECT_THAT( errorOf( good.substr( 0, 100 ) ), HasSubstr( "truncated in the header" ) );
   EXPECT_THAT( errorOf( good.substr( 0, 4096 + 6 * 1024 + 10 ) ), HasSubstr( "truncated" ) );
   EXPECT_THAT( errorOf( good.substr( 0, 4096 + 10 * 1024 + 10 ) ), HasSubstr( "descriptor" ) );
   auto other = good;
   other[8] = 9;
   EXPECT_THAT( errorOf( other ), HasSubstr( "another version" ) );
   auto torn = good;
   torn.replace( 4096 + 6 * 1024, 1024, 1024, '\0' );
   write( path( "bad.fl" ), torn );
   auto const rest = decoded( "bad.fl" );
   EXPECT_THAT( rest.back(), HasSubstr( "bad.fl: damaged record in the ring of level 6" ) );
   EXPECT_GT( rest.size(), 5u );  // the other ring is still printed

   // Seeded damage where it hurts: header, descriptors, rings; decoded() fails on any other
   // exception, the sanitizers on the rest.
   std::mt19937 random( 20240607 );
   auto const pick = [&]( std::size_t n ) { return std::size_t{ random() } % n; };
   for ( int round = 0; round < 400; ++round ) {
      auto bytes = good;
      std::size_t const starts[] = { 8, 8, 4096 + 6 * 1024, 4096 + 8 * 1024, 4096 + 10 * 1024 };
      std::size_t const lengths[] = { 360, 360, 1024, 1024, 600 };
      auto const area = pick( std::size( starts ) );
      for ( auto n = 1 + pick( 4 ); n > 0; --n ) {
         auto const width = pick( 2 ) ? 1 : 8;
         bytes.replace( starts[area] + pick( lengths[area] ), static_cast< std::size_t >( width ),
                        static_cast< std::size_t >( width ),
                        static_cast< char >( pick( 3 ) ? pick( 256 ) : 255 ) );
      }
      if ( pick( 8 ) == 0 ) {
         bytes.resize( pick( bytes.size() ) );
      }
      write( path( "bad.fl" ), bytes );
      ASSERT_LE( decoded( "bad.fl" ).size(), whole.size() + 50 ) << "round " << round;
   }
}

}  // namespace
