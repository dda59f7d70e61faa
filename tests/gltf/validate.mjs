// Validates glTF files: node validate.mjs FILE...
// Prints one JSON array with, for each file, the numbers of errors and warnings and the messages of both.
import { readFileSync } from "node:fs";
import { dirname, join } from "node:path";
import { validateBytes } from "gltf-validator";

const reports = [];
for (const file of process.argv.slice(2)) {
  const report = await validateBytes(new Uint8Array(readFileSync(file)), {
    uri: file,
    maxIssues: 100,
    externalResourceFunction: async (uri) =>
      new Uint8Array(readFileSync(join(dirname(file), decodeURIComponent(uri)))),
  });
  const { numErrors, numWarnings, messages } = report.issues;
  reports.push({
    file,
    errors: numErrors,
    warnings: numWarnings,
    messages: messages.filter((message) => message.severity < 2).map((m) => `${m.code} ${m.pointer}: ${m.message}`),
  });
}
console.log(JSON.stringify(reports));
