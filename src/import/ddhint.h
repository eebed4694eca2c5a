/*
** Hints for an author: after a word the reader does not know, the known
** word it most likely stands for, as a note that only a handler hears.
*/
#ifndef RKDD_IMPORT_DDHINT_H
#define RKDD_IMPORT_DDHINT_H

/* Reports "did you mean `W`?" with the word of candidates[0..count) closest
** to word: the same but for case, or one edit away (two for words of five
** characters or more), an edit being a character added, dropped, changed or
** swapped with its neighbour. Nothing when none is that close. */
void ddHintWord(const char *word, const char *const *candidates, int count);
/* ddHintWord over the tag type keywords, both spellings. */
void ddHintTagType(const char *word);

#endif
