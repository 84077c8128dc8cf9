#include "platform/flashlog/Decode.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <vector>

#include "platform/flashlog/FileFormat.h"
#include "platform/kel/StandardError.h"

namespace Flashlog {

namespace {

using namespace Format;

/** The file's bytes; what lies beyond its end reads as missing, never as an error. */
class File {
 public:
   explicit File( std::string const & path )
      : fd_( ::open( path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK ) ) {
      struct stat status {};
      if ( fd_ < 0 || ::fstat( fd_, &status ) != 0 ) {
         int const error = errno;
         close();
         throw DecodeError( Kel::shownName( path ) +
                            ": cannot open: " + std::generic_category().message( error ) );
      }
      if ( !S_ISREG( status.st_mode ) ) {
         close();
         throw DecodeError( Kel::shownName( path ) + ": not a regular file" );
      }
   }
   ~File() { close(); }
   File( File const & ) = delete;
   File & operator=( File const & ) = delete;

   /** @return how much of it there is. */
   std::size_t read( std::uint64_t offset, void * to, std::size_t size ) const {
      std::size_t done = 0;
      while ( done < size ) {
         auto const got = ::pread( fd_, static_cast< char * >( to ) + done, size - done,
                                   static_cast< off_t >( offset + done ) );
         if ( got <= 0 ) {
            break;
         }
         done += static_cast< std::size_t >( got );
      }
      return done;
   }

 private:
   void close() const {
      if ( fd_ >= 0 ) {
         ::close( fd_ );
      }
   }

   int fd_;
};

/** Takes pieces off the front of some bytes. */
class Reader {
 public:
   explicit Reader( std::string_view bytes ) : bytes_( bytes ) {}

   template < class T >
   std::optional< T > number() {
      T value;
      if ( bytes_.size() < sizeof value ) {
         return {};
      }
      std::memcpy( &value, bytes_.data(), sizeof value );
      bytes_.remove_prefix( sizeof value );
      return value;
   }
   std::optional< std::string_view > text( std::size_t size ) {
      if ( bytes_.size() < size ) {
         return {};
      }
      auto const text = bytes_.substr( 0, size );
      bytes_.remove_prefix( size );
      return text;
   }

 private:
   std::string_view bytes_;
};

struct Message {
   std::uint32_t line;
   std::string unit;
   std::string text;
};

struct Record {
   RecordHead head;
   std::size_t level;
   std::string_view arguments;
};

void appendEscaped( std::string & to, std::string_view text ) {
   constexpr char hex[] = "0123456789abcdef";
   for ( char c : text ) {
      auto const byte = static_cast< unsigned char >( c );
      if ( byte < 0x20 || byte == 0x7f ) {
         to += "\\x";
         to += hex[byte >> 4];
         to += hex[byte & 15];
      } else {
         to += c;
      }
   }
}

/** Appends one argument. @return false if the record doesn't hold it. */
bool appendArgument( std::string & to, char format, Reader & arguments ) {
   if ( format == 'i' ) {
      auto const value = arguments.number< std::uint32_t >();
      to += value ? std::to_string( *value ) : "";
      return value.has_value();
   }
   if ( format == 's' ) {
      auto const value = arguments.number< std::uint16_t >();
      to += value ? std::to_string( *value ) : "";
      return value.has_value();
   }
   if ( format == 'b' ) {
      auto const value = arguments.number< std::uint8_t >();
      to += value ? *value ? "true" : "false" : "";
      return value.has_value();
   }
   if ( format == 'p' ) {
      auto const length = arguments.number< std::uint16_t >();
      auto const text = arguments.text( length.value_or( 0 ) & ~cutText );
      if ( !length || !text ) {
         return false;
      }
      appendEscaped( to, *text );
      to += *length & cutText ? "..." : "";
      return true;
   }
   return false;
}

/** @return false if text and arguments don't go together; what could be made of them is there. */
bool appendText( std::string & to, std::string_view format, Reader arguments ) {
   while ( !format.empty() ) {
      auto const mark = std::min( format.find( '%' ), format.size() );
      appendEscaped( to, format.substr( 0, mark ) );
      format.remove_prefix( mark );
      if ( format.empty() ) {
         break;
      }
      char const kind = format.size() > 1 ? format[1] : '\0';
      if ( kind == '%' ) {
         to += '%';
      } else if ( !appendArgument( to, kind, arguments ) ) {
         to += "<missing>";
         return false;
      }
      format.remove_prefix( 2 );
   }
   return true;
}

class Decoder {
 public:
   Decoder( std::string const & path, std::ostream & out )
      : path_( Kel::shownName( path ) ), file_( path ), out_( out ) {}

   void run() {
      auto const header = readHeader();
      for ( std::size_t level = 0; level < std::size( header.ring ); ++level ) {
         readRing( level, header.ring[level] );
      }
      // Descriptors come after the rings: a writer at work describes a message before it records
      // it, so each record read has its descriptor by now.
      readMessages();
      print();
      if ( !damage_.empty() ) {
         throw DecodeError( path_ + ": " + damage_ );
      }
   }

 private:
   /** Notes what is wrong; the first such finding is what the caller is told. */
   void damaged( std::string const & reason ) {
      if ( damage_.empty() ) {
         damage_ = reason;
      }
   }

   FileHeader readHeader() const {
      FileHeader header{};
      auto const size = file_.read( 0, &header, sizeof header );
      if ( size < sizeof header.magic || std::memcmp( header.magic, magic, sizeof magic ) != 0 ) {
         throw DecodeError( path_ + ": not a trace file" );
      }
      if ( size < sizeof header ) {
         throw DecodeError( path_ + ": truncated in the header" );
      }
      if ( header.byteOrder != byteOrderMark || header.version != version ) {
         throw DecodeError( path_ + ": written by another version or kind of machine" );
      }
      return header;
   }

   void readRing( std::size_t level, RingControl const & control ) {
      auto const name = "the ring of level " + std::to_string( level );
      if ( control.size > maxRingKiB * 1024 || control.size % 8 != 0 ||
           control.offset > std::size( FileHeader{}.ring ) * maxRingKiB * 1024 + headerSize ||
           control.tail % 8 != 0 || control.head % 8 != 0 || control.tail > control.head ||
           control.head - control.tail > control.size ) {
         damaged( "damaged header of " + name );
         return;
      }
      auto & bytes = rings_[level];
      bytes.resize( static_cast< std::size_t >( control.size ) );
      auto const there = file_.read( control.offset, bytes.data(), bytes.size() );
      if ( there < bytes.size() ) {
         damaged( "truncated in " + name );
      }
      // A writer at work drops records before it overwrites them, so what it has overwritten
      // while we read lies before the tail of now.
      auto const tail = readHeader().ring[level].tail;
      collect( level, control, there, std::max( tail, control.tail ) );
   }

   void collect( std::size_t level, RingControl const & control, std::size_t there,
                 std::uint64_t firstValid ) {
      std::string_view const bytes( rings_[level].data(), there );
      for ( auto position = firstValid; position < control.head; ) {
         auto const offset = static_cast< std::size_t >( position % control.size );
         auto const left = static_cast< std::size_t >( control.size ) - offset;
         if ( left < sizeof( RecordHead ) ) {
            position += left;
            continue;
         }
         Reader reader( bytes.substr( std::min( offset, bytes.size() ) ) );
         auto const head = reader.number< RecordHead >();
         bool const fits = head && head->size >= sizeof( RecordHead ) && head->size % 8 == 0 &&
                           head->size <= std::min( left, control.head - position );
         auto const arguments =
            fits ? reader.text( head->size - sizeof( RecordHead ) ) : std::nullopt;
         // Of a filler nothing behind its head counts.
         if ( !arguments ||
              head->check != checkOf( *head, head->id == 0 ? std::string_view() : *arguments ) ) {
            damaged( "damaged record in the ring of level " + std::to_string( level ) );
            return;
         }
         if ( head->id != 0 ) {
            records_.push_back( { *head, level, *arguments } );
         }
         position += head->size;
      }
   }

   void readMessages() {
      auto const header = readHeader();
      if ( header.descUsed > maxDescBytes ||
           header.descOffset > std::size( header.ring ) * maxRingKiB * 1024 + headerSize ) {
         damaged( "damaged header of the message descriptors" );
         return;
      }
      std::string bytes( static_cast< std::size_t >( header.descUsed ), '\0' );
      auto const there = file_.read( header.descOffset, bytes.data(), bytes.size() );
      if ( there < bytes.size() ) {
         damaged( "truncated in the message descriptors" );
      }
      Reader reader( std::string_view( bytes ).substr( 0, there ) );
      std::size_t taken = 0;
      while ( taken < there ) {
         auto const head = reader.number< DescHead >();
         std::size_t const length = head ? std::size_t{ head->unitLength } + head->textLength : 0;
         auto const both = head ? reader.text( length ) : std::nullopt;
         if ( !both || head->textLength > maxDescText || head->check != checkOf( *head, *both ) ) {
            damaged( "damaged message descriptor" );
            break;
         }
         messages_.try_emplace(
            head->id, Message{ head->line, std::string( both->substr( 0, head->unitLength ) ),
                               std::string( both->substr( head->unitLength ) ) } );
         auto const size = sizeof( DescHead ) + length;
         reader.text( static_cast< std::size_t >( roundUp( size ) ) - size );
         taken += static_cast< std::size_t >( roundUp( size ) );
      }
      lost_ = header.descLost;
   }

   void print() {
      std::sort( records_.begin(), records_.end(), []( Record const & a, Record const & b ) {
         return a.head.sequence < b.head.sequence;
      } );
      for ( auto const & record : records_ ) {
         std::string line =
            Kel::traceTime( record.head.time ) + ' ' + std::to_string( record.level ) + ' ';
         auto const message = messages_.find( record.head.id );
         if ( message == messages_.end() ) {
            line += "?:0 message " + std::to_string( record.head.id );
            damaged( "a record's message descriptor is missing" );
         } else {
            appendEscaped( line, message->second.unit );
            line += ':' + std::to_string( message->second.line ) + ' ';
            if ( !appendText( line, message->second.text, Reader( record.arguments ) ) ) {
               damaged( "a record doesn't hold its message's arguments" );
            }
         }
         out_ << line << '\n';
      }
      if ( lost_ > 0 ) {
         out_ << "# " << lost_ << " trace points found no room for their description\n";
      }
   }

   /** As messages name it. */
   std::string path_;
   File file_;
   std::ostream & out_;
   std::vector< char > rings_[Kel::traceLevels];
   std::vector< Record > records_;
   std::unordered_map< std::uint32_t, Message > messages_;
   std::uint32_t lost_ = 0;
   std::string damage_;
};

}  // namespace

void decode( std::string const & path, std::ostream & out ) {
   Decoder( path, out ).run();
}

}  // namespace Flashlog
