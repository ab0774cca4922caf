// Writes the speech models' vocabulary, which none of their packages brings, from
// the tokenizer that they name as theirs: a line a token, the first for token 0.
//
// A line holds the token's bytes in hexadecimal, U+2581 for a space, in UTF-8. Tokens
// 3 to 258 are the single bytes; 0 to 2 and those from 32000 on stand for no text.
//
// Usage: node scripts/speech-tokens.mjs >FILE
import tokenizer from "../assets/node_modules/llama-tokenizer-js/llama-tokenizer.js";

const count = 32768;
const firstByte = 3;
const lastByte = 258;
const firstSpecial = 32000;
const withoutText = 31353; // an odd entry: a line separator that the models know as nothing

function bytesOf(id) {
  if (id < firstByte || id >= firstSpecial || id === withoutText) return Buffer.alloc(0);
  if (id <= lastByte) return Buffer.from([id - firstByte]);
  return Buffer.from(tokenizer.vocabById[id], "utf8");
}

const lines = [];
for (let id = 0; id < count; ++id) lines.push(`${bytesOf(id).toString("hex")}\n`);
process.stdout.write(lines.join(""));
