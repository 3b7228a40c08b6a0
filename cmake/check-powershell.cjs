// Checks the syntax of PowerShell scripts. Standard input holds a JSON list of {place, text}; each error goes to standard
// error with its place, and any makes the exit code 1. NODE_PATH must lead to web-tree-sitter and tree-sitter-powershell.

const fs = require("fs");
const { Language, Parser } = require("web-tree-sitter");

// The nodes that the parser could not make sense of, or that it had to add.
function errorsIn(node) {
    if (node.isError || node.isMissing) {
        return [node];
    }
    return node.children.flatMap(errorsIn);
}

async function main() {
    await Parser.init();
    const parser = new Parser();
    parser.setLanguage(await Language.load(require.resolve("tree-sitter-powershell/tree-sitter-powershell.wasm")));
    for (const { place, text } of JSON.parse(fs.readFileSync(0, "utf8"))) {
        for (const error of errorsIn(parser.parse(text).rootNode)) {
            const what = error.isMissing ? `${error.type} is missing` : `not understood: ${error.text.split("\n")[0]}`;
            console.error(`${place}, line ${error.startPosition.row + 1} of the script: ${what}`);
            process.exitCode = 1;
        }
    }
}

main();
