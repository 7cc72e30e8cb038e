// Every .glb or .gltf named is checked by the Khronos glTF validator; any
// error or warning is printed and fails the run. Infos and hints (an unused
// object, say) are counted, not failed.
// Usage: node validate_gltf.js FILE...   (NODE_PATH names where gltf-validator is)
const fs = require('fs');
const path = require('path');
const validator = require('gltf-validator');

async function check(file) {
    const bytes = new Uint8Array(fs.readFileSync(file));
    const report = await validator.validateBytes(bytes, {
        uri: file,
        maxIssues: 0,
        externalResourceFunction: (uri) =>
            new Promise((resolve, reject) => {
                fs.readFile(path.join(path.dirname(file), decodeURIComponent(uri)), (err, data) =>
                    err ? reject(err.toString()) : resolve(new Uint8Array(data)));
            }),
    });
    const i = report.issues;
    const bad = i.messages.filter((m) => m.severity <= 1);
    for (const m of bad) console.log(`${file}: ${m.severity ? 'warning' : 'error'} ${m.code} ${m.pointer || ''}: ${m.message}`);
    console.log(`${file}: ${i.numErrors} errors, ${i.numWarnings} warnings, ${i.numInfos} infos, ${i.numHints} hints`);
    return bad.length === 0;
}

(async () => {
    let ok = true;
    for (const file of process.argv.slice(2)) ok = (await check(file)) && ok;
    process.exit(ok ? 0 : 1);
})().catch((e) => {
    console.error(e);
    process.exit(2);
});
