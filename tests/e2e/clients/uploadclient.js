// Uploads a file as a form that is streamed: uploadclient.js URL FILE COOKIE
// The output is a JSON array of the answer's status and text.
'use strict';
const fs = require('fs');
const http = require('http');
const path = require('path');
const {pipeline} = require('stream');

const [url, file, cookie] = process.argv.slice(2);
const boundary = '----node' + Date.now();
const head = `--${boundary}\r\nContent-Disposition: form-data; name="firmware"; ` +
    `filename="${path.basename(file)}"\r\nContent-Type: application/octet-stream\r\n\r\n`;
const tail = `\r\n--${boundary}--\r\n`;

async function* form() {
    yield head;
    yield* fs.createReadStream(file);
    yield tail;
}

// without a length: in chunked transfer
const headers = {'Content-Type': `multipart/form-data; boundary=${boundary}`, Cookie: cookie};
const request = http.request(url, {method: 'PUT', headers}, answer => {
    let text = '';
    answer.on('data', data => text += data);
    answer.on('end', () => process.stdout.write(JSON.stringify([answer.statusCode, text])));
});
pipeline(form, request, error => {
    if (error) {
        throw error;
    }
});
