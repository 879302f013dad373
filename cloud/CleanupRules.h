#pragma once

#include <vector>

#include "cloud/TextChunks.h"

// The single rules that cleanup is made of, each over the pieces of a text.
namespace murvel::cloud::rules {

// Fillers, with the commas that set them off; a full stop after one stays with the sentence.
void removeFillers(Chunks& chunks);
// A short word said twice in a row ("the the") once.
void removeStutters(Chunks& chunks);
// Commas before a full stop, doubled commas, punctuation that begins a line or ends the text
// without closing a sentence.
void tidyPunctuation(Chunks& chunks);
// The pronoun "I" and the first word of every sentence and line with a capital.
void capitalise(Chunks& chunks);

// Full forms for contractions and informal words ("don't" → "do not", "gonna" → "going to").
void useFullForms(Chunks& chunks);
// Contractions for full forms ("do not" → "don't", "I am" → "I'm"), "thanks" for "thank you".
void useContractions(Chunks& chunks);
// A full stop, or a question mark for what reads as a question, after every sentence that has
// none; with `closeLast` false the last sentence of the text gets a question mark only.
void closeSentences(Chunks& chunks, bool closeLast);
// The points of a list: sentences and lines, and spans that words such as "then", "and
// finally" or a leading "first" mark off. Those words, and closing punctuation, are dropped.
std::vector<Chunks> listPoints(const Chunks& chunks);

}  // namespace murvel::cloud::rules
