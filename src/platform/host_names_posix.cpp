// Names without regard to case on a file system that has regard to it.
//
// A name that does not exist as it is spelled is looked up component by
// component in the listings of its directories: the exact component wins, else
// the first in byte order that is equal when ASCII case is folded. Folding
// never changes a length, so a name is corrected in place.
//
// A search through many directories asks here for each one that lacks the file.
// So every spelling of a directory that was ever asked for has a node, which
// holds its real spelling and its listing or says that there is none, and a
// second question costs two hash lookups and no system call. Spellings that
// lead to the same directory share its listing. Nodes and listings stay for the
// run. They may grow old: a file that another program makes later is missing from
// them. What this program makes is added.

#include "platform/host_names.h"

#include <errno.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>

#include "platform/directory_posix.h"
#include "platform/files.h"
#include "platform/paths.h"

// A name in a listing.
struct ListedName {
  uint32_t hash;    // of the folded name
  uint32_t next;    // number of the next name of the chain plus one, 0 at its end
  uint32_t offset;  // of the name, NUL-terminated, in the text of the listing
};

// What stands in a directory.
struct Listing {
  Listing* next;      // another directory
  dev_t device;       // with `inode` and `changed`, which directory this is: an
  ino_t inode;        // inode may come to belong to another one
  timespec changed;   // when a name in it was last made or deleted
  ListedName* names;  // nameCount of them
  uint32_t nameCount;
  uint32_t nameRoom;  // how many `names` has room for
  char* text;         // textLength bytes, the names
  uint32_t textLength;
  uint32_t textRoom;
  uint32_t* heads;  // headMask + 1 chains: number of the first name plus one, 0 for none
  uint32_t headMask;
};

// A spelling of a directory; the spelling asked for and the real one follow,
// `length` bytes and a NUL each.
struct DirectoryNode {
  DirectoryNode* next;  // of the chain
  uint32_t hash;        // of the spelling asked for
  uint32_t length;
  bool exists;
  Listing* listing;  // null if the directory is missing or may not be read

  char* asked() { return reinterpret_cast<char*>(this + 1); }
  char* real() { return asked() + length + 1; }
};

constexpr uint32_t nodeChainCount = 256;
static constinit DirectoryNode* nodeChains[nodeChainCount] = {};
static constinit bool anyNodes = false;
static constinit Listing* listings = nullptr;

// A hash of `length` bytes, equal for names that differ only in case.
static uint32_t foldedHash(const char* text, size_t length) {
  uint32_t hash = 2166136261u;
  for (size_t i = 0; i < length; ++i) hash = (hash ^ foldCase(Byte(text[i]))) * 16777619u;
  return hash ^ hash >> 15;
}

// Makes room for `need` elements in an array; false if there is no memory.
template <typename T>
static bool growArray(T*& array, uint32_t& room, size_t need) {
  if (need <= room) return true;
  size_t newRoom = room == 0 ? 64 : size_t{room} * 2;
  while (newRoom < need) newRoom *= 2;
  if (newRoom > UINT32_MAX) return false;
  void* const grown = std::realloc(array, newRoom * sizeof(T));
  if (grown == nullptr) return false;
  array = static_cast<T*>(grown);
  room = uint32_t(newRoom);
  return true;
}

// Appends a name to a listing; false if there is no memory.
static bool addListedName(Listing& listing, const char* name) {
  const size_t length = std::strlen(name);
  if (!growArray(listing.text, listing.textRoom, listing.textLength + length + 1)) return false;
  if (!growArray(listing.names, listing.nameRoom, size_t{listing.nameCount} + 1)) return false;
  std::memcpy(listing.text + listing.textLength, name, length + 1);
  listing.names[listing.nameCount++] = ListedName{foldedHash(name, length), 0, listing.textLength};
  listing.textLength += uint32_t(length + 1);
  return true;
}

// Puts name number `i` of a listing on its chain.
static void chainName(Listing& listing, uint32_t i) {
  uint32_t& head = listing.heads[listing.names[i].hash & listing.headMask];
  listing.names[i].next = head;
  head = i + 1;
}

// Puts the names of a complete listing on their chains.
static bool chainNames(Listing& listing) {
  uint32_t headCount = 16;
  while (headCount < listing.nameCount) headCount *= 2;
  listing.heads = static_cast<uint32_t*>(std::calloc(headCount, sizeof(uint32_t)));
  if (listing.heads == nullptr) return false;
  listing.headMask = headCount - 1;
  for (uint32_t i = 0; i < listing.nameCount; ++i) chainName(listing, i);
  return true;
}

static void freeListing(Listing* listing) {
  std::free(listing->names);
  std::free(listing->text);
  std::free(listing->heads);
  std::free(listing);
}

ResolveOutcome outcomeOfError(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case EISDIR:
    case ELOOP:
    case ENAMETOOLONG:
    case ENXIO:   // a socket, or a device that isn't there
    case EINVAL:  // no name for this file system
    case EILSEQ: return resolveMissing;
    case EACCES:
    case EPERM: return resolveDenied;
    case EMFILE:
    case ENFILE: return resolveNoDescriptor;
    case ENOMEM: return resolveNoMemory;
    default: return resolveBroken;
  }
}

// Reads all names of an open directory into an empty listing.
static ResolveOutcome readNames(DIR* directory, Listing& listing) {
  while (const dirent* entry = nextEntry(directory))
    if (!addListedName(listing, entry->d_name)) return resolveNoMemory;
  if (errno != 0) return outcomeOfError(errno);
  return chainNames(listing) ? resolveFound : resolveNoMemory;
}

// Puts the listing of an open directory into `found`, read now unless it has been.
static ResolveOutcome listDirectory(DIR* directory, Listing*& found) {
  struct stat status;
  if (fstat(dirfd(directory), &status) != 0) return outcomeOfError(errno);
  for (Listing* known = listings; known != nullptr; known = known->next) {
    if (known->device != status.st_dev || known->inode != status.st_ino ||
        known->changed.tv_sec != status.st_mtim.tv_sec || known->changed.tv_nsec != status.st_mtim.tv_nsec)
      continue;
    found = known;
    return resolveFound;
  }
  Listing* const listing = static_cast<Listing*>(std::calloc(1, sizeof(Listing)));
  if (listing == nullptr) return resolveNoMemory;
  const ResolveOutcome outcome = readNames(directory, *listing);
  if (outcome != resolveFound) {
    freeListing(listing);
    return outcome;
  }
  listing->device = status.st_dev;
  listing->inode = status.st_ino;
  listing->changed = status.st_mtim;
  listing->next = listings;
  listings = listing;
  found = listing;
  return resolveFound;
}

// The spelling that a listing has for the `length` bytes at `name`, null if none.
static const char* findListed(const Listing* listing, const char* name, size_t length) {
  if (listing == nullptr) return nullptr;
  const uint32_t hash = foldedHash(name, length);
  const char* best = nullptr;
  for (uint32_t i = listing->heads[hash & listing->headMask]; i != 0; i = listing->names[i - 1].next) {
    const ListedName& entry = listing->names[i - 1];
    const char* const text = listing->text + entry.offset;
    if (entry.hash != hash || std::strlen(text) != length) continue;
    if (std::memcmp(text, name, length) == 0) return text;
    size_t same = 0;
    while (same < length && foldCase(Byte(text[same])) == foldCase(Byte(name[same]))) ++same;
    if (same == length && (best == nullptr || std::strcmp(text, best) < 0)) best = text;
  }
  return best;
}

// Splits the `length` bytes of `name` before the last component: its start
// goes into `start`, and the result is the length of the directory, without the
// separators after it unless it is the root.
static size_t directoryLength(const char* name, size_t length, size_t& start) {
  start = length;
  while (start > 0 && name[start - 1] != '/') --start;
  size_t end = start;
  while (end > 1 && name[end - 1] == '/') --end;
  return end;
}

// Finds or makes the node of the directory that the `length` bytes at `name` spell.
static ResolveOutcome findDirectory(const char* name, size_t length, DirectoryNode*& found);

// Corrects the last component of the `length` bytes at `name`, and all before it.
static ResolveOutcome correctName(char* name, size_t length, bool lastToo) {
  size_t start;
  const size_t directory = directoryLength(name, length, start);
  DirectoryNode* node = nullptr;
  const ResolveOutcome outcome = findDirectory(name, directory, node);
  if (outcome != resolveFound) return outcome;
  if (!node->exists) return resolveMissing;
  std::memcpy(name, node->real(), directory);
  if (!lastToo) return resolveFound;
  const size_t last = length - start;
  const bool dots =
      (last == 1 && name[start] == '.') || (last == 2 && name[start] == '.' && name[start + 1] == '.');
  if (dots) return resolveFound;
  const char* const spelling = findListed(node->listing, name + start, last);
  if (last == 0 || spelling == nullptr) return resolveMissing;
  std::memcpy(name + start, spelling, last);
  return resolveFound;
}

// Reads the directory that `node` names, under its real spelling. resolveFound
// if the node now says whether it exists.
static ResolveOutcome openNode(DirectoryNode* node) {
  DIR* const directory = openDirectory(node->length == 0 ? "." : node->real());
  if (directory != nullptr) {
    node->exists = true;
    const ResolveOutcome outcome = listDirectory(directory, node->listing);
    closedir(directory);
    return outcome;
  }
  const ResolveOutcome outcome = outcomeOfError(errno);
  // Without the right to read it, files in it may still be opened by their exact names.
  node->exists = outcome == resolveDenied;
  return outcome == resolveMissing || outcome == resolveDenied ? resolveFound : outcome;
}

// The node of a directory that has been asked for before; null if there is none.
static DirectoryNode* findNode(const char* name, size_t length, uint32_t hash) {
  DirectoryNode* node = nodeChains[hash % nodeChainCount];
  while (node != nullptr &&
         (node->hash != hash || node->length != length || std::memcmp(node->asked(), name, length) != 0))
    node = node->next;
  return node;
}

// A node of no chain for a directory that nothing is known of; null without memory.
static DirectoryNode* makeNode(const char* name, size_t length, uint32_t hash) {
  DirectoryNode* const node =
      static_cast<DirectoryNode*>(std::calloc(1, sizeof(DirectoryNode) + 2 * (length + 1)));
  if (node == nullptr) return nullptr;
  node->hash = hash;
  node->length = uint32_t(length);
  std::memcpy(node->asked(), name, length);
  std::memcpy(node->real(), name, length);
  return node;
}

// Finds out about the directory of `node`. A directory that isn't there is as good
// to know as one that is.
static ResolveOutcome fillNode(DirectoryNode* node) {
  ResolveOutcome outcome = openNode(node);
  // The root and the current directory have no parent to be corrected in.
  const bool hasParent = node->length > 1 || (node->length == 1 && node->asked()[0] != '/');
  if (outcome != resolveFound || node->exists || !hasParent) return outcome;
  outcome = correctName(node->real(), node->length, true);
  if (outcome == resolveFound) outcome = openNode(node);
  return outcome == resolveMissing ? resolveFound : outcome;
}

static ResolveOutcome findDirectory(const char* name, size_t length, DirectoryNode*& found) {
  const uint32_t hash = foldedHash(name, length);
  found = findNode(name, length, hash);
  if (found != nullptr) return resolveFound;
  DirectoryNode* const node = makeNode(name, length, hash);
  if (node == nullptr) return resolveNoMemory;
  const ResolveOutcome outcome = fillNode(node);
  if (outcome != resolveFound) {
    std::free(node);
    return outcome;
  }
  DirectoryNode*& chain = nodeChains[hash % nodeChainCount];
  node->next = chain;
  chain = node;
  anyNodes = true;
  found = node;
  return resolveFound;
}

bool spellHostName(const char* path, char* name) {
  if (path[0] != 0 && path[1] == ':' && !isSeparator(path[0])) path += 2;
  size_t i = 0;
  while (path[i] != 0) {
    const size_t size = pathCharLength(path + i);
    if (i + size >= hostNameSize) return false;
    name[i] = path[i] == '\\' ? '/' : path[i];
    if (size == 2) name[i + 1] = path[i + 1];
    i += size;
  }
  name[i] = 0;
  return true;
}

ResolveOutcome resolveHostName(char* name) {
  return correctName(name, std::strlen(name), true);
}

ResolveOutcome resolveHostDirectories(char* name) {
  return correctName(name, std::strlen(name), false);
}

ResolveOutcome findHostStatus(char* name, struct stat& status) {
  if (stat(name, &status) == 0) return resolveFound;
  ResolveOutcome outcome = outcomeOfError(errno);
  if (outcome != resolveMissing) return outcome;
  outcome = resolveHostName(name);
  if (outcome != resolveFound) return outcome;
  return stat(name, &status) == 0 ? resolveFound : outcomeOfError(errno);
}

bool isKnownMissing(const char* name) {
  const size_t length = std::strlen(name);
  size_t start;
  const size_t directory = directoryLength(name, length, start);
  if (start == length) return false;
  const DirectoryNode* const node = findNode(name, directory, foldedHash(name, directory));
  if (node == nullptr) return false;
  if (!node->exists) return true;
  return node->listing != nullptr && findListed(node->listing, name + start, length - start) == nullptr;
}

void noteHostName(const char* name) {
  const size_t length = std::strlen(name);
  size_t start;
  const size_t directory = directoryLength(name, length, start);
  const DirectoryNode* const node = findNode(name, directory, foldedHash(name, directory));
  if (node == nullptr || node->listing == nullptr) return;
  Listing& listing = *node->listing;
  if (findListed(&listing, name + start, length - start) != nullptr) return;
  if (addListedName(listing, name + start))
    chainName(listing, listing.nameCount - 1);
  else
    forgetDirectories();
}

void forgetDirectories() {
  if (!anyNodes) return;
  anyNodes = false;
  for (DirectoryNode*& chain : nodeChains) {
    while (chain != nullptr) {
      DirectoryNode* const node = chain;
      chain = node->next;
      std::free(node);
    }
  }
  while (listings != nullptr) {
    Listing* const listing = listings;
    listings = listing->next;
    freeListing(listing);
  }
}

size_t hostNameStart(const char* name) {
  size_t start;
  directoryLength(name, std::strlen(name), start);
  return start;
}
