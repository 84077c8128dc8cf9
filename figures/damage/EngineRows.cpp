#include <hiredis/hiredis.h>

#include <algorithm>
#include <deque>
#include <nlohmann/json.hpp>
#include <optional>

#include "damage/Count.h"
#include "scenario/Scenario.h"
#include "scenario/Switch.h"
#include "stores/redis/RowText.h"

/* Rows in an engine, as a client reads them and applies them to its state. Any client may write
 * them, in plain text, so what is damaged and well formed is another client's word. */

namespace Damage {

namespace {

using Corestore::Row;
using Corestore::RowChange;
using Corestore::RowForm;
/** Names and JSON. */
using Fields = std::vector< std::pair< std::string, std::string > >;

/** What others have written comes in through this. */
class Engine final : public Corestore::Store {
 public:
   void load( std::function< void( Row const & ) > const & row ) override {
      std::ranges::for_each( first_, row );
   }
   void put( Row const & ) override {}
   void del( std::string const & ) override {}
   void flush() override {}
   void holderIs( Corestore::RowHolder * holder ) override { holder_ = holder; }
   void refused( RowChange const &, Kel::ValueError const & ) override { refused_ = true; }

   /** False when it was refused. */
   bool arrives( Row row, Orb::TaskScheduler & scheduler ) {
      refused_ = false;
      holder_->arrived( { { std::move( row ), false } } );
      scheduler.runReady();
      return !refused_;
   }
   Corestore::RowHolder const & holder() const { return *holder_; }
   std::vector< Row > & first() { return first_; }

 private:
   std::vector< Row > first_;
   Corestore::RowHolder * holder_ = nullptr;
   bool refused_ = false;
};

/** A server's answer of texts. */
class Answer {
 public:
   redisReply & text( std::string const & words ) {
      redisReply & reply = replies_.emplace_back();
      reply.type = REDIS_REPLY_STRING;
      reply.str = const_cast< char * >( words.data() );
      reply.len = words.size();
      return reply;
   }
   redisReply & list( Fields const & fields ) {
      for ( auto const & [name, value] : fields ) {
         elements_.push_back( &text( name ) );
         elements_.push_back( &text( value ) );
      }
      redisReply & reply = replies_.emplace_back();
      reply.type = REDIS_REPLY_ARRAY;
      reply.elements = elements_.size();
      reply.element = elements_.data();
      return reply;
   }

 private:
   std::deque< redisReply > replies_;
   std::vector< redisReply * > elements_;
};

/** As the client reads it; nothing for one that it refuses. */
std::optional< Row > read( Row const & row, Fields const & text ) {
   Answer answer;
   try {
      if ( row.form == RowForm::book ) {
         std::size_t const last = row.path.rfind( '/' );
         bool refused = false;
         auto const rows = Redis::readBook( row.path.substr( 0, last ), answer.list( text ),
                                            [&]( auto const &, auto const & ) { refused = true; } );
         return refused || rows.empty() ? std::nullopt : std::optional( rows.front().row );
      }
      if ( row.form == RowForm::value ) {
         return Redis::readString( row.path, answer.text( text.front().second ) ).row;
      }
      auto const found = Redis::readHash( row.path, row.form, answer.list( text ) );
      return found.bad.empty() ? std::optional( found.row ) : std::nullopt;
   } catch ( Kel::ValueError const & ) {
      return std::nullopt;
   }
}

Fields textOf( Row const & row ) {
   Redis::RowText text;
   text.rowIs( row );
   Fields fields;
   for ( std::size_t i = 0; i != text.size(); ++i ) {
      fields.emplace_back( text.name( i ), text.json( i ) );
   }
   if ( row.form == RowForm::book ) {
      auto & [name, value] = fields.front();
      name = row.path.substr( row.path.rfind( '/' ) + 1 );
      value = "[7," + value + "]";
   }
   return fields;
}

bool isJson( Fields const & text ) {
   return std::ranges::all_of( text, []( auto const & field ) {
      return field.second.find( '\0' ) == std::string::npos &&
             nlohmann::json::accept( field.second );
   } );
}

}  // namespace

Count engineRows( std::uint64_t count, Random & random, std::string const & scenario ) {
   Count counted{ .kind = "row in the engine" };
   ::setenv( "FLASHLOG_DISABLE", "1", 1 );
   Engine engine;
   {
      Scenarios::Scenario const played = Scenarios::readScenario( scenario );
      Corestore::MemoryStore store;
      Scenarios::Switch device( { .simulated = played.simulated, .store = &store } );
      for ( std::size_t step = 0; step != played.steps.size(); ++step ) {
         Scenarios::playStep( device, played, step );
      }
      store.load( [&]( Row const & row ) { engine.first().push_back( row ); } );
   }
   Scenarios::Switch const device(
      { .with = Scenarios::Switch::With::StateAlone, .store = &engine } );
   std::vector< Row > rows;
   for ( Row & row : engine.first() ) {
      row.form = engine.holder().formOf( row.path );
      // The rows with nothing in them have nothing to damage.
      if ( row.form != RowForm::none && !textOf( row ).empty() ) {
         rows.push_back( row );
      }
   }
   while ( counted.all != count ) {
      Row const & row = rows[below( random, rows.size() )];
      Fields const whole = textOf( row );
      Fields text = whole;
      auto & [name, value] = text[below( random, text.size() )];
      std::string & damaged = below( random, 4 ) == 0 && !name.empty() ? name : value;
      if ( below( random, 8 ) == 0 ) {
         damaged.resize( below( random, damaged.size() ) );
      } else if ( below( random, 16 ) == 0 && text.size() > 1 ) {
         text.pop_back();
      } else {
         std::string const other = damaged.substr( damaged.size() / 2 ) + damaged;
         damage( damaged, 0, damaged.size(), other, random );
      }
      if ( text == whole ) {
         continue;
      }
      ++counted.all;
      std::optional< Row > const got = read( row, text );
      if ( !got || engine.holder().formOf( got->path ) == RowForm::none ) {
         ++counted.refused;
      } else if ( !isJson( text ) ) {
         ++counted.taken;
      } else if ( *got == row ) {
         ++counted.unchanged;
      } else if ( row.form == RowForm::book && got->path != row.path ) {
         ++counted.wellFormed;
      } else {
         ++( engine.arrives( *got, device.scheduler() ) ? counted.wellFormed : counted.refused );
         engine.arrives( row, device.scheduler() );
      }
   }
   return counted;
}

}  // namespace Damage
