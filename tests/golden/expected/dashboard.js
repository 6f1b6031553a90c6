(function(){
var t=document.getElementById('comp'),bodies=[].slice.call(t.tBodies),rows=[].slice.call(t.querySelectorAll('tbody tr')),key=-1,dir=0;
var sizes=bodies.map(function(b){return b.rows.length;});
var tools=document.createElement('div');tools.className='tools';
tools.innerHTML='<label>Find a component <input type="search" id="q"></label>'+
'<label><input type="checkbox" id="hot"> only those not wholly proved or without a readable PO file</label>';
t.parentNode.insertBefore(tools,t);
var q=document.getElementById('q'),hot=document.getElementById('hot');
function name(r){var c=r.cells[0].firstChild;return c&&c.nodeType==3?c.nodeValue:'';}
// A body's height, while it is off screen, is estimated from its rows shown.
function fit(){bodies.forEach(function(b){var n=[].filter.call(b.rows,function(r){return !r.hidden;}).length;
b.hidden=!n;b.style.setProperty('--rows',n);});}
function filter(){var s=q.value.toLowerCase();rows.forEach(function(r){
r.hidden=(hot.checked&&!r.classList.contains('hot'))||name(r).toLowerCase().indexOf(s)<0;});fit();}
q.addEventListener('input',filter);hot.addEventListener('change',filter);
// A header sorts on the first click, reverses on the second and gives the
// database order back on the third. Each body keeps its number of rows.
function sort(i){dir=key!=i?1:dir==1?-1:0;key=dir?i:-1;
var v=rows.map(function(r,n){return [i?+r.cells[i].textContent:name(r),n,r];}),n=0;
if(dir)v.sort(function(x,y){var d=i?y[0]-x[0]:x[0]<y[0]?-1:x[0]>y[0]?1:0;return d*dir||x[1]-y[1];});
[].forEach.call(t.tHead.rows[0].cells,function(h,n){h.setAttribute('aria-sort',n==key?(dir==(n?1:-1)?'descending':'ascending'):'none');});
bodies.forEach(function(b,k){var f=document.createDocumentFragment();
for(var end=n+sizes[k];n<end;++n)f.appendChild(v[n][2]);b.appendChild(f);});fit();}
[].forEach.call(t.tHead.rows[0].cells,function(h,i){if(i==1)return;h.tabIndex=0;
h.addEventListener('click',function(){sort(i);});
h.addEventListener('keydown',function(e){if(e.key=='Enter'||e.key==' '){e.preventDefault();sort(i);}});});
})();
