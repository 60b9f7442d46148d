/// The vocabulary behind the look-ups of ZwMgmt_interface, for those who also need to list it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zwmgmt {

/// The known words of one kind, in table order.
std::vector<const char*> ServiceWords();
std::vector<const char*> CommandWordsOf(uint8_t service);
/// The sub-command words of a command that has no others; empty where its handler decides.
std::vector<const char*> SubCommandWordsOf(uint8_t service, uint16_t command);

/// The word of a service or command; null for a number that has none.
const char* ServiceWord(uint8_t service);
const char* CommandWord(uint8_t service, uint16_t command);
/// The first word of a key number of a service; null for a number that has none.
const char* KeyWord(uint8_t service, int key);

/// The known words nearest to a mistyped one, at most five, nearest first.
std::vector<const char*> NearestWords(const std::string& word, std::vector<const char*> known);

/// Words of foiscsiini replies; null for a number that has none.
const char* FoiscsiAddressTypeWord(int number);
const char* FoiscsiOperationWord(int number);

}  // namespace zwmgmt
