#include "platform/flashlog/Flashlog.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "platform/flashlog/TraceFile.h"
#include "platform/kel/StandardError.h"

namespace Flashlog {

TraceHandle * defaultFlashlogHandle = nullptr;

namespace {

TraceHandle theHandle;

/** A child process shares the mapping but not the ring positions, so it must not write there. */
void leaveFileToParent() {
   static bool const registered = [] {
      ::pthread_atfork( nullptr, nullptr, shutdown );
      return true;
   }();
   static_cast< void >( registered );
}

std::uint64_t kibToBytes( int kib ) {
   return std::min( static_cast< std::uint64_t >( std::max( kib, 0 ) ) * 1024,
                    Format::maxDescBytes );
}

std::string withPid( std::string name ) {
   for ( auto at = name.find( "%d" ); at != std::string::npos; at = name.find( "%d", at ) ) {
      name.replace( at, 2, std::to_string( ::getpid() ) );
   }
   return name;
}

/** The name, in the folder that FLASHLOGDIR names. */
std::string inTraceFolder( std::string const & name ) {
   char const * const folder = std::getenv( "FLASHLOGDIR" );
   return folder ? std::filesystem::path( folder ) / name : std::filesystem::path( name );
}

/** Throws std::runtime_error with the reason. */
void begin( std::string const & name, SizeSpec const & sizes, std::string const & previousName,
            TraceFile::Options const & options ) {
   shutdown();
   theHandle.mtTraceFile = new TraceFile( name, sizes, previousName, options );
   leaveFileToParent();
   defaultFlashlogHandle = &theHandle;
   Kel::traceRecordMaskIs( theHandle.mtTraceFile->levels() & ~( 1u << Kel::traceReturn ) );
}

}  // namespace

bool initialize( std::string const & fileName, SizeSpec const & sizes, char const * previousName,
                 int descKiB, int descStepKiB, MultiThreading, bool reserve, int maxMsgSize ) {
   auto const name = inTraceFolder( withPid( fileName ) );
   TraceFile::Options const options{
      kibToBytes( descKiB ), kibToBytes( descStepKiB ), reserve,
      std::clamp( static_cast< std::size_t >( std::max( maxMsgSize, 0 ) ), Format::minMsgSize,
                  Format::maxMsgSize ) };
   try {
      begin( name, sizes, previousName ? previousName : previousOf( name ), options );
   } catch ( std::runtime_error const & e ) {
      Kel::writeStandardError( "Flashlog: " + Kel::shownName( name ) + ": " + e.what() +
                               "; going on without a trace file\n" );
      return false;
   }
   return true;
}

void open( std::string const & fileName ) {
   SizeSpec sizes;
   sizes.fill( 32 );
   begin( fileName, sizes, previousOf( fileName ), { 0, kibToBytes( 24 ), true, 512 } );
}

std::string previousOf( std::string const & fileName ) {
   return fileName + ".1";
}

void shutdown() {
   if ( !theHandle.mtTraceFile ) {
      return;
   }
   Kel::traceRecordMaskIs( 0 );
   defaultFlashlogHandle = nullptr;
   delete theHandle.mtTraceFile;
   theHandle.mtTraceFile = nullptr;
}

void flush() {
   if ( theHandle.mtTraceFile ) {
      theHandle.mtTraceFile->flush();
   }
}

void MsgFormatString::put( char format ) {
   text_ += '%';
   text_ += format;
}

void MsgFormatString::put( std::string_view text ) {
   constexpr auto limit = Format::maxDescText - 2 * Format::maxArgs;
   for ( char c : text ) {
      if ( text_.size() + 2 > limit ) {
         return;
      }
      text_.append( c == '%' ? 2 : 1, c );
   }
}

void MsgDesc::finish() {
   file_.describe( id_, sourceUnit_, line_, level_, format_.text() );
}

}  // namespace Flashlog
