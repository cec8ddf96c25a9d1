#ifndef TESTS_SUPPORT_KNOWN_FAULTS_H_
#define TESTS_SUPPORT_KNOWN_FAULTS_H_

// What GNUstep's Foundation, release 1.28, does otherwise than Apple's: all of it that a test has
// to step around. The macOS half is written for Apple's and bends to none of this. A test says at
// its place which fault it steps around:
//
//   if (test::HasFault(test::Fault::kNeedsADeclaration)) GTEST_SKIP() << "GNUstep takes none";
//
// tests/foundation/known_faults_test.cc proves that each fault is still there: when one of its
// tests fails, the fault is gone and goes from this list.

namespace test {

enum class Fault {
  // Texts of paths.
  kTakesBackslashesForSlashes,     // the last component of "\a\b" is "b"
  kKeepsTheSlashBehindATilde,      // the folder of "~/x" is "~/"
  kKeepsDoubledSlashes,            // with or without an extension, "a//b" has no normal form
  kTakesHiddenNamesForExtensions,  // "/tmp/.hidden" without its extension is "/tmp/"
  kGivesTheOldTextForNone,         // where an extension cannot be added, the path comes back
  kAddsNoExtensionToATilde,        // the path "~scratch" comes back as well
  kAddsADotForAnEmptyExtension,    // "a" becomes "a."
  kKeepsTheSlashBeforeParents,     // "/missing/no/.." is standardized to "/missing/"
  kRemovesParentsByTextAlone,      // "link/.." is standardized to the folder that holds the link
  kCutsPrivateAlways,              // "/private" goes whatever the rest is
  kKnowsNoAutomounts,              // "/var/automount" stays
  kRaisesForPrivate,               // "/private" alone raises an exception

  // Writing a file.
  kMakesFilesFor0644,         // a new file has 0644 less umask, not 0666
  kGivesTheModeBehindALink,   // who replaces a link gets the mode of the file that it led to
  kKeepsTheOwner,             // a file that root replaces still belongs to its owner
  kLengthensNamesForWriting,  // the temporary file has the whole name and six letters more

  // Folders.
  kTakesAnythingForAFolder,        // where a file or a FIFO is, creation succeeds
  kFailsWithoutTheAttributes,      // where attributes cannot be set, creation fails
  kListsUnreadableFoldersAsEmpty,  // a folder that may not be read has no entries
  kEntersMountPoints,              // a removal empties what is mounted in the folder
  kAsksNobodyBeforeRemoval,        // a removal's delegate cannot decline what is in the folder

  // Homes and the program.
  kHasNoHomeForAStranger,          // no home folder where the account has none, or is unknown
  kTakesHomesAsTheyAreWritten,     // home folders are not standardized, relative ones not refused
  kKnowsANamelessUser,             // an account with an empty name has a home folder
  kTakesAFolderOfItsOwnForBundle,  // a bare program's bundle is "Resources/<name>" beside it
  kSetsTheLocale,                  // LC_CTYPE, from the environment, when the process begins

  // The process.
  kComplainsOnStandardError,  // of failures that it reports, and where it starts with a lack
  kTakesNoBytesForArguments,  // an argument that is not UTF-8 ends the program at its start
  kNeedsAnAccount,            // so does the lack of any account
  kIgnoresBrokenPipes,        // SIGPIPE, from its first look at a file handle on

  // Property lists.
  kRaisesForBrokenBinaryLists,  // an exception where a number leads out of the list
  kTakesNoByteOrderMark,        // what begins with a mark, UTF-16 too, is not taken for XML
  kNeedsADeclaration,           // XML without "<?xml" at its start is not taken for XML
  kLosesCharacterData,          // "<![CDATA[...]]>" is dropped
  kDropsUnknownEntities,        // "&nothing;" is no error and no text
  kDropsStrayWords,             // neither are words before the list,
  kDropsKeysWithoutValues,      // nor a key at the end of a dictionary
};

// True only where the macOS half runs against GNUstep's Foundation.
constexpr bool HasFault([[maybe_unused]] Fault fault) {
#ifdef ZINT_GNUSTEP
  return true;
#else
  return false;
#endif
}

}  // namespace test

#endif  // TESTS_SUPPORT_KNOWN_FAULTS_H_
