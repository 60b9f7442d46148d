/// A rule's text to a tree and settings.
///
///     rule       = expression "=>" settings
///     expression = either [ "?" expression ":" expression ]
///     either     = both { "or" both }
///     both       = unary { "and" unary }
///     unary      = { "!" } ( "(" expression ")" | "any" | "none" | test )
///     test       = [ side ] directive [ relation ] [ value ] [ "&" mask ]
#pragma once

#include <string>

#include "policies/tree.h"
#include "policies/words.h"
#include "zwmgmt/records/policy.h"

namespace zwmgmt::policy {

/// What is wrong, and the word at which.
struct Complaint {
    std::string text;
    Word word;
};

/// Fills the tree from the words up to "=>", which stays current. False with a complaint.
bool ParseExpression(Words* words, size_t rule_number, Tree* tree, Complaint* complaint);

/// Fills the settings from the words to the end of the rule. False with a complaint.
bool ParseSettings(Words* words, PolicySettings* settings, Complaint* complaint);

}  // namespace zwmgmt::policy
