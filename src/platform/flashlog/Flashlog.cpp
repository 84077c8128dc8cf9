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

}  // namespace

bool initialize( std::string const & fileName, SizeSpec const & sizes, char const * previousName,
                 int descKiB, int descStepKiB, MultiThreading, bool reserve, int maxMsgSize ) {
   shutdown();
   auto const name = inTraceFolder( withPid( fileName ) );
   TraceFile::Options const options{
      kibToBytes( descKiB ), kibToBytes( descStepKiB ), reserve,
      std::clamp( static_cast< std::size_t >( std::max( maxMsgSize, 0 ) ), Format::minMsgSize,
                  Format::maxMsgSize ) };
   try {
      theHandle.mtTraceFile = new TraceFile( name, sizes, previousName, options );
   } catch ( std::runtime_error const & e ) {
      Kel::writeStandardError( "Flashlog: " + name + ": " + e.what() +
                               "; going on without a trace file\n" );
      return false;
   }
   leaveFileToParent();
   defaultFlashlogHandle = &theHandle;
   Kel::traceRecordMaskIs( theHandle.mtTraceFile->levels() & ~( 1u << Kel::traceReturn ) );
   return true;
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
