#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "platform/flashlog/Decode.h"
#include "platform/flashlog/DualLog.h"

/** A directory for trace files, text lines caught in a list, all tracing off before and after. */
class TraceFixture : public testing::Test {
 protected:
   TraceFixture() {
      reset();
      std::filesystem::create_directories( directory );
      Kel::textTraceSinkIs( [this]( std::string_view line ) { lines.emplace_back( line ); } );
   }
   ~TraceFixture() override {
      reset();
      Kel::textTraceSinkIs( {} );
      std::filesystem::remove_all( directory );
   }

   static void reset() {
      Flashlog::shutdown();
      Kel::setTextTrace( -1 );
   }
   bool open( std::string const & name = "t.fl", std::uint32_t ringKiB = 32 ) const {
      Flashlog::SizeSpec sizes;
      sizes.fill( ringKiB );
      return Flashlog::initialize( path( name ), sizes, nullptr, 0, 24,
                                   Flashlog::MultiThreading::singleWriter_, true, 512 );
   }
   std::string path( std::string const & name = "t.fl" ) const {
      return ( directory / name ).string();
   }
   /** What the decoder prints, line by line without the times; an error's text comes last. */
   std::vector< std::string > decoded( std::string const & name = "t.fl" ) const {
      std::vector< std::string > result;
      std::stringstream out;
      std::string error;
      try {
         Flashlog::decode( path( name ), out );
      } catch ( Flashlog::DecodeError const & e ) {
         error = e.what();
      }
      for ( std::string line; std::getline( out, line ); ) {
         result.push_back( line.substr( line.find( ' ' ) + 1 ) );
      }
      if ( !error.empty() ) {
         result.push_back( error );
      }
      return result;
   }

   std::filesystem::path const directory =
      std::filesystem::temp_directory_path() / ( "flashlog-test-" + std::to_string( ::getpid() ) );
   std::vector< std::string > lines;
};
